// Normset streams of the recording file and the vertical-normset table that
// the upgrade of old files edits.
//
// "HNorms02": u32 count, then count records of 20 bytes (f64 StartTime,
// f64 XStep, u32 Length). "VNorms01": u32 count, then count records of 24
// bytes (f64 StartTime, f64 Y0, f64 YStep). A count beyond the stream ends
// the list at the last whole record; nothing is allocated for records that
// are not there.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace mlr::reader {

struct HNormRecord {
  double start_time = 0;
  double x_step = 0;
  uint32_t length = 0;
};

struct VNormRow {
  double start_time = 0;
  double y0 = 0;
  double y_step = 0;
};

std::vector<HNormRecord> DecodeHNorms(const uint8_t* data, size_t size);
std::vector<VNormRow> DecodeVNorms(const uint8_t* data, size_t size);
std::vector<uint8_t> EncodeVNorms(const std::vector<VNormRow>& rows);

// The void number: the double whose bit pattern is 0x7FFFFFFFFFFFFFFF.
double VoidNumber();

// Marks the time range [t1, t2] void on a channel's normset table:
//   1. p = the first row whose StartTime is >= t1 (the row count if none);
//   2. the row (t1, Y0 0.0, YStep void) is inserted at p;
//   3. the following rows whose StartTime is <= t2 are moved to t2, the scan
//      stopping at the first later row;
//   4. of several rows moved to t2 only the last is kept, so the scaling in
//      force at t2 continues from there.
void MarkVoidRun(std::vector<VNormRow>* rows, double t1, double t2);

}  // namespace mlr::reader
