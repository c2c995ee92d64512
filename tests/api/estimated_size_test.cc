// GetEstimatedTotalSize and IsVoidNumber. Expected byte counts are worked
// out by hand in the comments: 40 per channel, 24 per vertical normset, 46
// per horizontal normset touched, 2 per sample and channel.
#include <gtest/gtest.h>

#include <limits>

#include "LegacyRecording.h"
#include "api/estimated_size.h"
#include "platform/win.h"
#include "tests/api/data_test_util.h"
#include "tests/api/fake_recording.h"

namespace {

using mlr::api::test::FromBits;
using mlr::api::test::kVoid;

// The estimate in kilobytes, or -1 when the call fails.
LONG Kb(IRecording* recording, double start, double end) {
  LONG kb = -1;
  return SUCCEEDED(GetEstimatedTotalSize(recording, start, end, &kb)) ? kb : -1;
}

TEST(IsVoidNumber, LooksAtTheHighWordOnly) {
  EXPECT_EQ(IsVoidNumber(kVoid), VARIANT_TRUE);
  EXPECT_EQ(IsVoidNumber(FromBits(0x7FFFFFFF00000000ull)), VARIANT_TRUE);
  EXPECT_EQ(IsVoidNumber(FromBits(0x7FFFFFFF12345678ull)), VARIANT_TRUE);

  EXPECT_EQ(IsVoidNumber(FromBits(0x7FF8000000000000ull)), VARIANT_FALSE);  // quiet NaN
  EXPECT_EQ(IsVoidNumber(std::numeric_limits<double>::quiet_NaN()), VARIANT_FALSE);
  EXPECT_EQ(IsVoidNumber(std::numeric_limits<double>::infinity()), VARIANT_FALSE);
  EXPECT_EQ(IsVoidNumber(FromBits(0xFFFFFFFFFFFFFFFFull)), VARIANT_FALSE);  // sign set
  EXPECT_EQ(IsVoidNumber(FromBits(0x7FFFFFFE00000000ull)), VARIANT_FALSE);
  EXPECT_EQ(IsVoidNumber(0.0), VARIANT_FALSE);
  EXPECT_EQ(IsVoidNumber(1e200), VARIANT_FALSE);
}

TEST(EstimatedGroupBytes, CountsChannelsNormsetsAndSamples) {
  fake::Recording rec;
  fake::ChannelGroup* group = rec.Groups().Add();
  group->Channels().Add(3);
  group->Channels().Add(0);
  group->Normsets().Add(0.0, 0.5, 1000);  // samples at 0 .. 499.5

  // 2 channels: 80, 3 vnorms: 72, one normset: 46; samples 21..41 at 10..20.
  EXPECT_EQ(mlr::EstimatedGroupBytes(group, 10.0, 20.0), 80 + 72 + 46 + 21 * 2 * 2);
  // Sample numbers are truncated: 10.25 is still sample 21, 10.5 is 22.
  EXPECT_EQ(mlr::EstimatedGroupBytes(group, 10.25, 20.25), 80 + 72 + 46 + 21 * 2 * 2);
  EXPECT_EQ(mlr::EstimatedGroupBytes(group, 10.5, 20.25), 80 + 72 + 46 + 20 * 2 * 2);
  // Everything, as IRecording::TotalSize asks for it.
  EXPECT_EQ(mlr::EstimatedGroupBytes(group, -1e200, 1e200), 80 + 72 + 46 + 1000 * 2 * 2);
  EXPECT_EQ(rec.HeldReferences(), 0);
}

TEST(EstimatedGroupBytes, KeepsTheDurationComparisons) {
  fake::Recording rec;
  fake::ChannelGroup* group = rec.Groups().Add();
  group->Channels().Add(0);
  group->Normsets().Add(0.0, 1.0, 100);    // 0 .. 99, duration 99
  group->Normsets().Add(200.0, 1.0, 100);  // 200 .. 299, duration 99

  // Inside the first normset: samples 21..31.
  EXPECT_EQ(mlr::EstimatedGroupBytes(group, 20.0, 30.0), 40 + 46 + 11 * 2);
  // Across both: the first from sample 51, the second whole, because its
  // duration (99), not its end, is compared with the end time.
  EXPECT_EQ(mlr::EstimatedGroupBytes(group, 50.0, 250.0), 40 + 2 * 46 + (50 + 100) * 2);
  // An end in the gap touches the second normset as well.
  EXPECT_EQ(mlr::EstimatedGroupBytes(group, 20.0, 150.0), 40 + 2 * 46 + (80 + 100) * 2);
  // A start beyond the second normset's duration skips its samples, though
  // the start lies inside it.
  EXPECT_EQ(mlr::EstimatedGroupBytes(group, 250.0, 260.0), 40 + 46);
  // A start after the end touches no normset.
  EXPECT_EQ(mlr::EstimatedGroupBytes(group, 250.0, 50.0), 40);
  EXPECT_EQ(rec.HeldReferences(), 0);
}

TEST(EstimatedGroupBytes, CountsWhatIsThereAndTakesSampleNumbersAsTheyStand) {
  fake::Recording rec;

  // No horizontal normsets: channels and vertical normsets only.
  fake::ChannelGroup* bare = rec.Groups().Add();
  bare->Channels().Add(1);
  bare->Channels().Add(1);
  bare->Channels().Add(1);
  bare->WithoutHNorms();
  EXPECT_EQ(mlr::EstimatedGroupBytes(bare, 0.0, 100.0), 3 * (40 + 24));

  // A count claiming more channels than answer: the missing items add no
  // channel bytes, but the samples are counted for every channel claimed.
  fake::ChannelGroup* sparse = rec.Groups().Add();
  sparse->Channels().Add(2);
  sparse->Channels().ClaimCount(3);
  sparse->Normsets().Add(0.0, 1.0, 10);
  EXPECT_EQ(mlr::EstimatedGroupBytes(sparse, 0.0, 100.0), 40 + 48 + 46 + 10 * 3 * 2);

  // A normset that starts before zero (pre-trigger data): the end is
  // compared with the duration (99), and maps to sample trunc(105 + 1) = 106,
  // past the last one; the estimate counts it as it stands.
  fake::ChannelGroup* pre = rec.Groups().Add();
  pre->Channels().Add(0);
  pre->Normsets().Add(-10.0, 1.0, 100);  // -10 .. 89, duration 99
  EXPECT_EQ(mlr::EstimatedGroupBytes(pre, -1e200, 95.0), 40 + 46 + 106 * 2);
  // An end before the start inside one normset: samples 51..31 count as
  // 31 - 51 + 1 = -19.
  fake::ChannelGroup* backwards = rec.Groups().Add();
  backwards->Channels().Add(0);
  backwards->Normsets().Add(0.0, 1.0, 100);
  EXPECT_EQ(mlr::EstimatedGroupBytes(backwards, 50.0, 30.0), 40 + 46 - 19 * 2);

  // A zero time step neither crashes nor counts samples it cannot place.
  fake::ChannelGroup* flat = rec.Groups().Add();
  flat->Channels().Add(0);
  flat->Normsets().Add(0.0, 0.0, 10);
  EXPECT_EQ(mlr::EstimatedGroupBytes(flat, -5.0, -1.0), 40 + 46);
  EXPECT_EQ(rec.HeldReferences(), 0);
}

// One channel, no vertical normsets, one normset of samples 0, 1, 2, ...:
// 86 bytes plus 2 per sample.
fake::ChannelGroup* AddCountingGroup(fake::Recording& rec) {
  fake::ChannelGroup* group = rec.Groups().Add();
  group->Channels().Add(0);
  group->Normsets().Add(0.0, 1.0, 10000);
  return group;
}

TEST(GetEstimatedTotalSize, RoundsUpToKilobytes) {
  fake::Recording rec;
  AddCountingGroup(rec);
  // Samples 101..569 are 469: 86 + 938 = 1024 bytes, exactly 1 KB; one
  // sample more is 1026 bytes, 2 KB; one fewer at the start 1022, 1 KB.
  EXPECT_EQ(Kb(&rec, 100.0, 568.0), 1);
  EXPECT_EQ(Kb(&rec, 100.0, 569.0), 2);
  EXPECT_EQ(Kb(&rec, 101.0, 568.0), 1);

  // Two groups of 512 bytes each (213 samples) sum to exactly 1 KB.
  fake::Recording two;
  AddCountingGroup(two);
  AddCountingGroup(two);
  EXPECT_EQ(Kb(&two, 100.0, 312.0), 1);
  EXPECT_EQ(Kb(&two, 100.0, 313.0), 2);
  EXPECT_EQ(rec.HeldReferences(), 0);
  EXPECT_EQ(two.HeldReferences(), 0);
}

TEST(GetEstimatedTotalSize, TakesVoidTimesFromTheRecording) {
  fake::Recording rec;
  AddCountingGroup(rec);
  rec.SetTimes(100.0, 568.0);
  EXPECT_EQ(Kb(&rec, kVoid, kVoid), 1);
  rec.SetTimes(100.0, 569.0);
  EXPECT_EQ(Kb(&rec, kVoid, FromBits(0x7FFFFFFF00000000ull)), 2);
  // Only the void one is replaced (with 100 or 569 either would be 2 KB).
  EXPECT_EQ(Kb(&rec, 101.0, kVoid), 1);
  EXPECT_EQ(Kb(&rec, kVoid, 568.0), 1);

  // A recording that cannot resolve the void time: E_FAIL, nothing written.
  rec.SetTimes(kVoid, 569.0);
  LONG kb = 77;
  EXPECT_EQ(GetEstimatedTotalSize(&rec, kVoid, 500.0, &kb), E_FAIL);
  EXPECT_EQ(kb, 77);
  EXPECT_EQ(rec.HeldReferences(), 0);
}

TEST(GetEstimatedTotalSize, EmptyRecordingsAndBadArguments) {
  fake::Recording empty;
  fake::Recording none;
  none.WithoutGroups();
  EXPECT_EQ(Kb(&empty, 0.0, 10.0), 0);
  EXPECT_EQ(Kb(&none, 0.0, 10.0), 0);
  LONG kb = -1;
  EXPECT_EQ(GetEstimatedTotalSize(&empty, 0.0, 10.0, nullptr), E_POINTER);
  EXPECT_EQ(GetEstimatedTotalSize(nullptr, 0.0, 10.0, &kb), E_POINTER);
  EXPECT_EQ(empty.HeldReferences(), 0);
}

}  // namespace
