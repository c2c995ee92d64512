// GetScaledMuxData, on the in-memory recording and on builder files, against
// values worked out sample by sample from the description.
#include <gtest/gtest.h>

#include "LegacyRecording.h"
#include "api/scaling.h"
#include "tests/api/data_test_util.h"

namespace mlr::api::test {
namespace {

// Channels: A (analog, scaling changes at t = 5 to a negative step), E
// (event), B (analog), N (analog without vertical normsets). Segments at
// 0 s (10 frames, 1 s), 20 s (8 frames, 0.5 s) and an empty one at 40 s.
TestGroup MainGroup() {
  TestGroup g;
  g.channels = {{false, {{1.0, 0.5, 0.0}, {-2.0, -0.25, 5.0}}}, {true, {}},
                {false, {{0.0, 2.0, 0.0}}}, {false, {}}};
  g.reduction_factor = 4;
  g.segments = {PatternSegment(g, 0, 0.0, 1.0, 10), PatternSegment(g, 1, 20.0, 0.5, 8),
                PatternSegment(g, 2, 40.0, 1.0, 0)};
  return g;
}

TestGroup OtherGroup() {
  TestGroup g;
  g.channels = {{false, {{0.0, 1.0, 0.0}}}};
  g.segments = {PatternSegment(g, 0, 0.0, 1.0, 4)};
  return g;
}

struct Call {
  HRESULT hr = E_FAIL;
  SafeArrayHolder result;
};

Call Scaled(IChannelGroup* group, const std::vector<IChannelInfo*>& channels, LONG hnorm,
            LONG first, LONG count, LONG reduction, LONG lower = 0) {
  Call call;
  SafeArrayHolder selection(ChannelList(channels, VT_UNKNOWN, lower));
  SAFEARRAY* list = selection.get();
  // Through the group's member, which hands the call to the function.
  call.hr = group->GetScaledMuxData(&list, hnorm, first, count, reduction, call.result.put());
  return call;
}

class ScaledMuxData : public GroupTest {
 protected:
  void SetUp() override {
    group_ = MainGroup();
    Build({OtherGroup()});
  }
};

TEST_P(ScaledMuxData, ScalesEachSampleWithTheNormsetValidAtItsTime) {
  // Frames 3..8 of the first segment (t = 2 .. 7) cross A's change at t = 5;
  // the selection has lower bound 1 and a null element.
  const Call call = Scaled(g_.get(), {ch_[0].get(), ch_[1].get(), nullptr, ch_[2].get()}, 1, 3,
                           6, 1, /*lower=*/1);
  ASSERT_EQ(call.hr, S_OK);
  const Contents<double> out = Doubles(call.result.get());
  EXPECT_EQ(out.vt, VT_R8);
  EXPECT_EQ(out.extents, (std::vector<LONG>{4, 6}));
  EXPECT_EQ(out.lowers, (std::vector<LONG>{0, 0}));
  ASSERT_EQ(out.values.size(), 24u);
  for (size_t i = 0; i < 6; ++i) {
    const size_t f = i + 2;
    const double t = group_.TimeOf(0, f);
    const double* row = &out.values[i * 4];
    EXPECT_EQ(Bits(row[0]), Bits(group_.Scaled(0, t, group_.Raw(0, f, 0)))) << f;
    // The event word sits in the low two bytes, the rest is zero.
    EXPECT_EQ(Bits(row[1]), static_cast<uint16_t>(group_.Raw(0, f, 1))) << f;
    EXPECT_EQ(EventWord(row[1]), group_.Raw(0, f, 1));
    EXPECT_EQ(Bits(row[2]), 0u);
    EXPECT_EQ(Bits(row[3]), Bits(group_.Scaled(2, t, group_.Raw(0, f, 2)))) << f;
  }
}

TEST_P(ScaledMuxData, ReportsTheLibrarysErrors) {
  const std::vector<IChannelInfo*> a = {ch_[0].get()};
  struct Case {
    LONG hnorm, first;
    uint32_t status;
    const char16_t* text;
  };
  const Case cases[] = {
      {0, 1, 0x800427DA, u"No horizontal normsets"},
      {4, 1, 0x800427DA, u"No horizontal normsets"},
      {3, 1, 0x800428A0, u"Timezone does not contain any samples"},
  };
  for (const Case& c : cases) {
    Call call = Scaled(g_.get(), a, c.hnorm, c.first, 5, 1);
    EXPECT_EQ(static_cast<uint32_t>(call.hr), c.status) << c.hnorm;
    EXPECT_EQ(TakeThreadError().description, c.text);
    EXPECT_EQ(call.result.get(), nullptr);
  }
  // A channel without vertical normsets is named as a channel error.
  Call none = Scaled(g_.get(), {ch_[3].get()}, 1, 1, 5, 1);
  EXPECT_EQ(static_cast<uint32_t>(none.hr), 0x8004283Eu);
  EXPECT_EQ(TakeThreadError().description, u"No vertical normsets");

  // The group's own failure passes through: a channel of another group.
  ComPtr<IChannelInfo> foreign = Channel(recording_.get(), 2, 1);
  EXPECT_EQ(Scaled(g_.get(), {foreign.get()}, 1, 1, 5, 1).hr, E_FAIL);
  // Nothing asked for: no frame comes back.
  EXPECT_EQ(static_cast<uint32_t>(Scaled(g_.get(), a, 1, 1, 0, 1).hr), 0x80042778u);
  EXPECT_EQ(TakeThreadError().description, u"Data not available");

  // Missing arguments, and a selection that is not of channels.
  SafeArrayHolder selection(ChannelList(a, VT_UNKNOWN));
  SAFEARRAY* list = selection.get();
  SAFEARRAY* result = reinterpret_cast<SAFEARRAY*>(1);
  EXPECT_EQ(GetScaledMuxData(g_.get(), &list, 1, 1, 5, 1, nullptr), E_POINTER);
  EXPECT_EQ(GetScaledMuxData(nullptr, &list, 1, 1, 5, 1, &result), E_INVALIDARG);
  EXPECT_EQ(result, nullptr);
  SafeArrayHolder shorts(SafeArrayCreateVector(VT_I2, 0, 1));
  SAFEARRAY* wrong = shorts.get();
  EXPECT_EQ(GetScaledMuxData(g_.get(), &wrong, 1, 1, 5, 1, &result), E_INVALIDARG);
}

INSTANTIATE_TEST_SUITE_P(MemoryAndFile, ScaledMuxData, ::testing::Bool());

// Many frames, read from the group in several chunks, with normset changes
// falling inside and on the edges of the blocks the conversion works in (one
// on the first frame of the second chunk: 32768 frames for four channels,
// read from frame 7 on), a void stretch (YStep void) and columns of every
// kind side by side; in memory and from a file.
class ScaledMuxDataLong : public GroupTest {
 protected:
  static constexpr LONG kFirst = 7;
  static constexpr LONG kCount = 69990;

  void SetUp() override {
    group_.channels = {{false, {{0.25, 0.001, 0.0}, {0.0, kVoid, 255.5}, {-1.5, 0.003, 258.0},
                                {2.0, -0.7, 700.3}, {3.0, 0.01, 32774.0}, {-4.0, 0.02, 50000.5}}},
                       {false, {{1e-3, 3.3, 0.0}}},
                       {true, {}},
                       {false, {{0.0, 1.0, 0.0}, {7.0, 0.1, 512.0}, {8.0, 0.2, 512.5}}}};
    group_.segments = {PatternSegment(group_, 0, 0.0, 1.0, 70000)};
    Build();
  }

  Call Read(IChannelGroup* group) {
    return Scaled(group, {ch_[0].get(), ch_[1].get(), ch_[2].get(), ch_[3].get()}, 1, kFirst,
                  kCount, 1);
  }

  // The first `frames` frames of `out`, read from these channels, hold what
  // the description gives.
  void ExpectFrames(const Contents<double>& out, size_t frames,
                    const std::vector<size_t>& channels = {0, 1, 2, 3}) {
    const size_t width = channels.size();
    size_t void_count = 0;
    for (size_t i = 0; i < frames; ++i) {
      const size_t f = i + kFirst - 1;
      const double t = group_.TimeOf(0, f);
      for (size_t k = 0; k < width; ++k) {
        const size_t c = channels[k];
        const double v = out.values[i * width + k];
        if (group_.channels[c].event) {
          ASSERT_EQ(EventWord(v), group_.Raw(0, f, c)) << "frame " << f;
        } else {
          ASSERT_EQ(Bits(v), Bits(group_.Scaled(c, t, group_.Raw(0, f, c))))
              << "frame " << f << " channel " << c;
        }
      }
      if (Bits(out.values[i * width]) == Bits(kVoid)) ++void_count;
    }
    EXPECT_EQ(void_count, 2u);  // samples at t = 256 and 257
  }
};

TEST_P(ScaledMuxDataLong, AChunkThatFailsOrComesBackEmpty) {
  // An empty last chunk: the frames before it, the array cut to them. The
  // chunks before it follow each other without a gap or an overlap.
  WatchedGroup empty(g_.get());
  empty.empty_at = 2;
  const Call cut = Read(&empty);
  ASSERT_EQ(cut.hr, S_OK);
  const Contents<double> out = Doubles(cut.result.get());
  ASSERT_EQ(out.extents, (std::vector<LONG>{4, 65536}));
  ExpectFrames(out, 65536);
  ASSERT_EQ(empty.calls.size(), 3u);
  EXPECT_EQ(empty.calls[1].first, kFirst + 32768);
  EXPECT_EQ(empty.calls[2].first, kFirst + 65536);
  EXPECT_EQ(empty.calls[2].count, kCount - 65536);
  // A failing later chunk fails the call with its status.
  WatchedGroup failing(g_.get());
  failing.fail_at = 2;
  const Call failed = Read(&failing);
  EXPECT_EQ(failed.hr, E_FAIL);
  EXPECT_EQ(failed.result.get(), nullptr);
}

// A result above the streaming threshold (here every result) holds the same
// values. Without the event channel no tile needs ordinary stores, and three
// channels put every other frame at an odd offset.
TEST_P(ScaledMuxDataLong, StreamedResultsHoldTheSameValues) {
  const size_t threshold = SetStreamingThresholdBytes(0);
  const Call mixed = Read(g_.get());
  const Call analog =
      Scaled(g_.get(), {ch_[0].get(), ch_[1].get(), ch_[3].get()}, 1, kFirst, kCount, 1);
  SetStreamingThresholdBytes(threshold);
  ASSERT_EQ(mixed.hr, S_OK);
  ExpectFrames(Doubles(mixed.result.get()), kCount);
  ASSERT_EQ(analog.hr, S_OK);
  const Contents<double> out = Doubles(analog.result.get());
  ASSERT_EQ(out.extents, (std::vector<LONG>{3, kCount}));
  ExpectFrames(out, kCount, {0, 1, 3});
}

INSTANTIATE_TEST_SUITE_P(MemoryAndFile, ScaledMuxDataLong, ::testing::Bool());

}  // namespace
}  // namespace mlr::api::test
