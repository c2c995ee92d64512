#include "reader/normset_records.h"

#include <cstring>

#include "reader/byte_reader.h"
#include "reader/krf_format.h"

namespace mlr::reader {

std::vector<HNormRecord> DecodeHNorms(const uint8_t* data, size_t size) {
  std::vector<HNormRecord> out;
  ByteReader in(data, size);
  uint32_t count = 0;
  if (!in.ReadU32(&count)) return out;
  for (uint32_t i = 0; i < count && in.remaining() >= kHNormRecordSize; ++i) {
    HNormRecord r;
    in.ReadF64(&r.start_time);
    in.ReadF64(&r.x_step);
    in.ReadU32(&r.length);
    out.push_back(r);
  }
  return out;
}

std::vector<VNormRow> DecodeVNorms(const uint8_t* data, size_t size) {
  std::vector<VNormRow> out;
  ByteReader in(data, size);
  uint32_t count = 0;
  if (!in.ReadU32(&count)) return out;
  for (uint32_t i = 0; i < count && in.remaining() >= kVNormRecordSize; ++i) {
    VNormRow r;
    in.ReadF64(&r.start_time);
    in.ReadF64(&r.y0);
    in.ReadF64(&r.y_step);
    out.push_back(r);
  }
  return out;
}

std::vector<uint8_t> EncodeVNorms(const std::vector<VNormRow>& rows) {
  std::vector<uint8_t> out(4 + rows.size() * kVNormRecordSize);
  StoreU32(out.data(), static_cast<uint32_t>(rows.size()));
  uint8_t* p = out.data() + 4;
  for (const VNormRow& r : rows) {
    StoreF64(p, r.start_time);
    StoreF64(p + 8, r.y0);
    StoreF64(p + 16, r.y_step);
    p += kVNormRecordSize;
  }
  return out;
}

double VoidNumber() {
  const uint64_t bits = 0x7FFFFFFFFFFFFFFFull;
  double d = 0;
  std::memcpy(&d, &bits, sizeof d);
  return d;
}

void MarkVoidRun(std::vector<VNormRow>* rows, double t1, double t2) {
  size_t p = 0;
  while (p < rows->size() && !((*rows)[p].start_time >= t1)) ++p;
  rows->insert(rows->begin() + static_cast<std::ptrdiff_t>(p), VNormRow{t1, 0.0, VoidNumber()});
  size_t first_moved = p + 1;
  size_t end_moved = first_moved;
  while (end_moved < rows->size() && (*rows)[end_moved].start_time <= t2) {
    (*rows)[end_moved].start_time = t2;
    ++end_moved;
  }
  if (end_moved - first_moved > 1) {
    rows->erase(rows->begin() + static_cast<std::ptrdiff_t>(first_moved),
                rows->begin() + static_cast<std::ptrdiff_t>(end_moved - 1));
  }
}

}  // namespace mlr::reader
