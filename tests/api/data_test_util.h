// Helpers for the data-function tests: memory recordings and builder files
// opened through the loader, channel selections, and the contents of the
// safe arrays the functions return.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "LegacyRecording.h"
#include "api/mux_support.h"
#include "model/memory_recording.h"
#include "platform/com_ptr.h"
#include "platform/win.h"
#include "testing/krf_builder.h"

namespace mlr::api::test {

ComPtr<IRecording> MakeMemoryRecording(const model::MemoryRecordingSpec& spec);

// Writes `spec` to a temporary file, opens it read-only through the
// loader's class object and removes the file (the open recording keeps it).
ComPtr<IRecording> OpenBuilderFile(const mlr::testing::RecordingSpec& spec);

ComPtr<IChannelGroup> GroupOf(IRecording* recording, LONG index);
ComPtr<IChannelInfo> ChannelOf(IChannelGroup* group, LONG index);

// A VT_UNKNOWN vector (lower bound `lower`) of the given channels (null
// entries allowed).
SAFEARRAY* Selection(const std::vector<IChannelInfo*>& channels, LONG lower = 0);

// The shape and the elements of a returned array, in memory order.
template <class T>
struct Contents {
  VARTYPE vt = VT_EMPTY;
  std::vector<LONG> extents;  // per dimension, leftmost first
  std::vector<LONG> lowers;
  std::vector<T> values;
};
Contents<double> Doubles(SAFEARRAY* array);
Contents<int16_t> Shorts(SAFEARRAY* array);
Contents<float> Floats(SAFEARRAY* array);

// The description of the thread's error object (taken), or "" when none.
std::u16string TakeErrorDescription();

uint64_t Bits(double value);
uint32_t Bits(float value);
double FromBits(uint64_t bits);
extern const double kVoid;

}  // namespace mlr::api::test

namespace mlr::api::test {

// One channel of a test group: analog with vertical normsets (ascending
// start times), or an event channel.
struct TestChannel {
  bool event = false;
  std::vector<model::MemoryVNorm> vnorms;
};

// A channel group described once and built either in memory or as a
// builder file, with the expected values worked out independently of the
// code under test.
struct TestGroup {
  std::vector<TestChannel> channels;
  std::vector<model::MemorySegment> segments;  // frames interleaved over the channels
  LONG reduction_factor = 1;

  int16_t Raw(size_t segment, size_t frame, size_t channel) const {
    return segments[segment].frames[frame * channels.size() + channel];
  }
  size_t Length(size_t segment) const { return segments[segment].frames.size() / channels.size(); }
  double TimeOf(size_t segment, size_t frame) const {
    return segments[segment].start_time + static_cast<double>(frame) * segments[segment].x_step;
  }
  // raw x YStep + Y0 with the last normset starting at or before t (the
  // first before all of them), two roundings.
  double Scaled(size_t channel, double t, int16_t raw) const;
  // (max, min) of frames [first, first + count) of a segment, clipped to it;
  // OR and AND for event channels.
  std::pair<int16_t, int16_t> MaxMin(size_t segment, size_t channel, size_t first,
                                     size_t count) const;
};

// Adds `group` (and then `others`) to a memory recording / a builder file.
ComPtr<IRecording> InMemory(const std::vector<TestGroup>& groups);
ComPtr<IRecording> InFile(const std::vector<TestGroup>& groups);

// Sample value for frame f of channel c of a segment: spreads over the
// int16 range, with every seventh sample of channel 0 absent (-32768).
int16_t Pattern(size_t segment, size_t frame, size_t channel);

// Fills segment frames for `group` from Pattern (event channels get small
// bit masks).
model::MemorySegment PatternSegment(const TestGroup& group, size_t segment, double start,
                                    double x_step, size_t length);

}  // namespace mlr::api::test
