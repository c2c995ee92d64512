// The sample-pair lookup behind GetSampleAtTime and GetValueAtTime: given a
// channel and a time (seconds since the recording's start), it finds sample
// A, the one at or before the time, and sample B, the one after it, with
// their times, their raw values and the vertical normset (Y0, YStep) valid at
// each. It reads the channel's group through the interfaces only: the
// channel's Parent chain (IChannelInfo -> IChannelInfos -> IChannelGroup),
// the group's HNorms and GetMuxData, the channel's VNorms.
//
// How a time is placed:
// - The horizontal normset is the last one starting at or before the time
//   (IHNorms::GetLastStartingBefore). The time must lie between its first and
//   its last sample, both included: a time before the first normset, in a
//   gap between two normsets or after the last sample of the last one lies
//   outside the data (error 10103). A NaN time, the void number among them,
//   lies nowhere.
// - A = sample i = trunc((time - StartTime) / XStep) + 1 of that normset,
//   whose time is StartTime + (i - 1) x XStep. A time within 1e-9 sample
//   steps of a sample's time lies on that sample (`on_sample`): the decimal
//   times a user types rarely hit the binary sample times exactly, and 0.3
//   must read the sample at 0.1 x 3 = 0.30000000000000004. The same
//   tolerance admits a time that far past the last sample of the normset.
// - B = sample i + 1 of the same normset. When A is the normset's last
//   sample, B is absent: a time after that sample lies outside the data
//   anyway, so the next normset's first sample is never needed.
// - A and B are read in one GetMuxData call of two items (one when B is
//   absent) at reduction 1. If the group delivers only A, B stays absent.
// - For an analog channel, IVNorms::GetFromTime at each sample's own time
//   gives that sample's offset (Y0) and factor (YStep), which may be void
//   where the recording marks a time range as void. Event channels need no
//   vertical normset; their offsets and factors stay void.
//
// Errors, raised through the error raiser (the status 0x80040000 | number is
// returned and the thread's error object describes it):
//   10200 "Invalid Channelinfo specified" (IChannelInfo): a null channel, or
//         one whose Parent chain does not lead to a group;
//   10202 "No horizontal normsets" (IChannelGroup): HNorms fails, is null or
//         empty;
//   10103 "Specfied time out of range" (IChannelGroup): the time lies
//         outside the data, or the normset's XStep cannot place it (not a
//         positive number);
//   10201 "Invalid normset index specified" (IChannelGroup): the normset
//         found has no valid Index (below 1);
//   10104 "Data not available" (IChannelGroup): GetMuxData fails or
//         delivers nothing usable;
//   10302 "No vertical normsets" (IChannelInfo): an analog channel without a
//         vertical normset at a sample's time.
//
// Thread-safe as far as the channel's objects are; every reference taken is
// released before returning.
#pragma once

#include <cstdint>

#include "LegacyRecording.h"
#include "platform/win.h"

namespace mlr::api {

// The absent raw sample.
constexpr int16_t kAbsentSample = -32768;

// One sample; absent: time, offset and factor void, raw kAbsentSample.
struct SampleRecord {
  double time;
  double offset;  // Y0 of the vertical normset valid at `time`
  double factor;  // YStep of that normset
  int16_t raw;

  static SampleRecord Absent();
};

struct SamplePair {
  SampleRecord a = SampleRecord::Absent();
  SampleRecord b = SampleRecord::Absent();
  bool event = false;      // the channel is an event channel
  bool on_sample = false;  // the time lies on sample A (see above)
};

// Fills *pair (reset first; `event` is set from the channel even when the
// lookup fails later) and returns S_OK, or the status of the raised error.
HRESULT LookUpSamplePair(IChannelInfo* channel, double time, SamplePair* pair);

}  // namespace mlr::api
