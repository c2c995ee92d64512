// GetEstimatedTotalSize and IsVoidNumber. Expected byte counts are worked
// out by hand in the comments: 40 per channel, 24 per vertical normset, 46
// per horizontal normset touched, 2 per sample and channel.
#include <gtest/gtest.h>

#include <limits>

#include "LegacyRecording.h"
#include "api/estimated_size.h"
#include "model/live_objects.h"
#include "platform/win.h"
#include "tests/api/data_test_util.h"
#include "tests/api/fake_recording.h"

namespace mlr::api::test {
namespace {

TEST(IsVoidNumber, LooksAtTheHighWordOnly) {
  EXPECT_EQ(IsVoidNumber(FromBits(0x7FFFFFFF12345678ull)), VARIANT_TRUE);
  EXPECT_EQ(IsVoidNumber(FromBits(0x7FFFFFFE00000000ull)), VARIANT_FALSE);
  EXPECT_EQ(IsVoidNumber(FromBits(0xFFFFFFFFFFFFFFFFull)), VARIANT_FALSE);  // sign set
  EXPECT_EQ(IsVoidNumber(std::numeric_limits<double>::quiet_NaN()), VARIANT_FALSE);
}

struct Normset {
  double start, step;
  size_t length;
};

// A group of channels with `vnorms[c]` vertical normsets each and zero
// samples in the given normsets.
model::MemoryGroupSpec Group(const std::vector<size_t>& vnorms, const std::vector<Normset>& hnorms) {
  model::MemoryGroupSpec group;
  for (size_t count : vnorms) {
    model::MemoryChannelSpec channel;
    channel.vnorms.resize(count);
    group.channels.push_back(channel);
  }
  for (const Normset& n : hnorms) {
    group.segments.push_back({n.start, n.step, std::vector<int16_t>(n.length * vnorms.size(), 0)});
  }
  return group;
}

TEST(EstimatedGroupBytes, CountsChannelsNormsetsAndSamplesComparingDurations) {
  const long live = model::LiveObjectCount();
  const struct {
    model::MemoryGroupSpec group;
    double start, end;
    int64_t bytes;
  } cases[] = {
      // 2 channels: 80, 3 vnorms: 72, one normset: 46; samples 21..41 at
      // 10..20 (at 0, 0.5, ...). Sample numbers are truncated: 10.25 is still
      // sample 21, 10.5 is 22. The whole range, as TotalSize asks for it.
      {Group({3, 0}, {{0.0, 0.5, 1000}}), 10.0, 20.0, 80 + 72 + 46 + 21 * 2 * 2},
      {Group({3, 0}, {{0.0, 0.5, 1000}}), 10.25, 20.25, 80 + 72 + 46 + 21 * 2 * 2},
      {Group({3, 0}, {{0.0, 0.5, 1000}}), 10.5, 20.25, 80 + 72 + 46 + 20 * 2 * 2},
      {Group({3, 0}, {{0.0, 0.5, 1000}}), -1e200, 1e200, 80 + 72 + 46 + 1000 * 2 * 2},
      // Normsets 0 .. 99 and 200 .. 299 (duration 99 each). Inside the first:
      // samples 21..31. Across both: the first from sample 51, the second
      // whole, because its duration (99), not its end, is compared with the
      // end time. An end in the gap touches the second normset as well. A
      // start beyond the second normset's duration skips its samples, though
      // the start lies inside it. A start after the end touches no normset.
      {Group({0}, {{0.0, 1.0, 100}, {200.0, 1.0, 100}}), 20.0, 30.0, 40 + 46 + 11 * 2},
      {Group({0}, {{0.0, 1.0, 100}, {200.0, 1.0, 100}}), 50.0, 250.0, 40 + 2 * 46 + 150 * 2},
      {Group({0}, {{0.0, 1.0, 100}, {200.0, 1.0, 100}}), 20.0, 150.0, 40 + 2 * 46 + 180 * 2},
      {Group({0}, {{0.0, 1.0, 100}, {200.0, 1.0, 100}}), 250.0, 260.0, 40 + 46},
      {Group({0}, {{0.0, 1.0, 100}, {200.0, 1.0, 100}}), 250.0, 50.0, 40},
      // No horizontal normsets: channels and vertical normsets only.
      {Group({1, 1, 1}, {}), 0.0, 100.0, 3 * (40 + 24)},
      // A normset that starts before zero (pre-trigger data): the end is
      // compared with the duration (99) and maps to sample trunc(105 + 1) =
      // 106, past the last one; the estimate counts it as it stands.
      {Group({0}, {{-10.0, 1.0, 100}}), -1e200, 95.0, 40 + 46 + 106 * 2},
      // An end before the start inside one normset: samples 51..31 count as
      // 31 - 51 + 1 = -19.
      {Group({0}, {{0.0, 1.0, 100}}), 50.0, 30.0, 40 + 46 - 19 * 2},
      // A zero time step neither crashes nor counts samples it cannot place.
      {Group({0}, {{0.0, 0.0, 10}}), -5.0, -1.0, 40 + 46},
  };
  for (const auto& c : cases) {
    model::MemoryRecordingSpec spec;
    spec.groups = {c.group};
    const ComPtr<IRecording> recording = MakeMemoryRecording(spec);
    const ComPtr<IChannelGroup> group = reader::test::Group(recording.get(), 1);
    EXPECT_EQ(EstimatedGroupBytes(group.get(), c.start, c.end), c.bytes)
        << c.start << " .. " << c.end;
  }
  EXPECT_EQ(model::LiveObjectCount(), live) << "a reference taken and not given back";
}

// The estimate in kilobytes of a recording of these groups, or -1 when the
// call fails.
LONG Kb(const std::vector<model::MemoryGroupSpec>& groups, double start, double end) {
  model::MemoryRecordingSpec spec;
  spec.groups = groups;
  LONG kb = -1;
  return SUCCEEDED(GetEstimatedTotalSize(MakeMemoryRecording(spec).get(), start, end, &kb)) ? kb
                                                                                             : -1;
}

TEST(GetEstimatedTotalSize, RoundsUpToKilobytesAndTakesVoidTimesFromTheRecording) {
  // One channel, samples at 0, 1, 2, ...: 86 bytes plus 2 per sample.
  // Samples 101..569 are 469: 86 + 938 = 1024 bytes, exactly 1 KB; one
  // sample more is 1026 bytes, 2 KB.
  const model::MemoryGroupSpec counting = Group({0}, {{0.0, 1.0, 10000}});
  EXPECT_EQ(Kb({counting}, 100.0, 568.0), 1);
  EXPECT_EQ(Kb({counting}, 100.0, 569.0), 2);
  // Void times are the recording's start and end (data at 0 .. 469); only
  // the void one is replaced.
  const model::MemoryGroupSpec longer = Group({0}, {{0.0, 1.0, 470}});
  EXPECT_EQ(Kb({longer}, kVoid, kVoid), 2);
  EXPECT_EQ(Kb({longer}, 1.0, kVoid), 1);
  EXPECT_EQ(Kb({longer}, kVoid, 468.0), 1);
}

TEST(GetEstimatedTotalSize, UnresolvedTimesAndBadArguments) {
  // A recording that cannot resolve the void time: E_FAIL, nothing written.
  fake::Recording rec;
  rec.SetTimes(kVoid, 569.0);
  LONG kb = 77;
  EXPECT_EQ(GetEstimatedTotalSize(&rec, kVoid, 500.0, &kb), E_FAIL);
  EXPECT_EQ(kb, 77);
  // No group collection at all: nothing to count.
  EXPECT_EQ(GetEstimatedTotalSize(&rec, 0.0, 10.0, &kb), S_OK);
  EXPECT_EQ(kb, 0);
  EXPECT_EQ(GetEstimatedTotalSize(&rec, 0.0, 10.0, nullptr), E_POINTER);
  EXPECT_EQ(GetEstimatedTotalSize(nullptr, 0.0, 10.0, &kb), E_POINTER);
  EXPECT_EQ(rec.Outstanding(), 0);
}

}  // namespace
}  // namespace mlr::api::test
