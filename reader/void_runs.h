// Finding the runs of absent samples (-32768) that old recorders wrote where
// a channel had no signal; the upgrade of old files marks them void in the
// channel's vertical normsets (see normset_records.h, MarkVoidRun).
//
// Three searches:
// - `LeadingVoidCount`: absent samples at the start of the first normset.
// - `ForwardVoidIndex`: the tail search, which starts at the last examined
//   sample and steps forward while the sample is absent, as the file's
//   upgraders always did. It is bounded by the examined samples: it stops at
//   `count`, one past the last one, so it moves at most one step (when the
//   last sample is absent). The resulting void row then begins one sample
//   step after the end of the data, and the stored samples stay as they are.
// - `FindVoidRunAround`: the run of absent samples surrounding a time (a
//   boundary between two vertical normset rows). It starts at the first
//   sample at or after the time, in the horizontal normset that holds the
//   time (or the first one starting after it), scans backward (on into the
//   preceding normsets while the run reaches a normset's first sample) and
//   forward across the following normsets, in chunks of at most 1000
//   samples. A run that ends one normset and begins the next is thus found
//   whole from a row at the start of the second. The run covers [time of its first absent sample, time just
//   after its last one]; it is reported only when that end is later than its
//   start.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace mlr::reader {

// Samples of one channel, `stride` values apart (one frame = stride values).
size_t LeadingVoidCount(const int16_t* samples, size_t count, size_t stride);
size_t ForwardVoidIndex(const int16_t* samples, size_t count, size_t stride);

struct HNormSpan {
  double start_time = 0;
  double x_step = 0;
  uint32_t length = 0;
};

// Reads `count` samples of the channel from 0-based sample `first` of the
// 0-based normset `hnorm` into `out`; false when they cannot be read.
using ChannelSampleReader =
    std::function<bool(size_t hnorm, uint32_t first, uint32_t count, int16_t* out)>;

inline constexpr uint32_t kVoidScanChunk = 1000;

bool FindVoidRunAround(const std::vector<HNormSpan>& hnorms, double time,
                       const ChannelSampleReader& read, double* run_start, double* run_end);

}  // namespace mlr::reader
