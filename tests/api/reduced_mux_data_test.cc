// GetReducedMuxData, and the groups' GetMuxData for reductions that are not
// stored, which hands them to it.
#include <gtest/gtest.h>

#include "LegacyRecording.h"
#include "tests/api/data_test_util.h"

namespace mlr::api::test {
namespace {

class ReducedMuxData : public GroupTest {
 protected:
  void SetUp() override {
    group_.channels = {{false, {{0.0, 1.0, 0.0}}}, {true, {}}, {false, {{0.0, 1.0, 0.0}}}};
    group_.reduction_factor = 4;
    group_.segments = {PatternSegment(group_, 0, 0.0, 0.01, 30001),
                       PatternSegment(group_, 1, 400.0, 0.5, 23)};
    Build();
  }

  HRESULT Call(IChannelGroup* group, LONG hnorm, LONG first, LONG count, LONG merge, LONG request,
               SafeArrayHolder* result) {
    SafeArrayHolder selection(ChannelList({ch_[0].get(), ch_[1].get(), ch_[2].get()}, VT_UNKNOWN));
    SAFEARRAY* list = selection.get();
    return GetReducedMuxData(group, &list, hnorm, first, count, merge, request, result->put());
  }

  // Output frame i holds the max/min (OR/AND) of `span` samples from
  // first - 1 + i x span, clipped to the segment.
  void ExpectMerged(const Contents<int16_t>& out, size_t segment, size_t first, size_t span,
                    size_t frames_with_data) {
    for (size_t i = 0; i < frames_with_data; ++i) {
      for (size_t c = 0; c < 3; ++c) {
        const auto [high, low] = group_.MaxMin(segment, c, first - 1 + i * span, span);
        ASSERT_EQ(out.values[i * 6 + 2 * c], high) << "frame " << i << " channel " << c;
        ASSERT_EQ(out.values[i * 6 + 2 * c + 1], low) << "frame " << i << " channel " << c;
      }
    }
  }
};

TEST_P(ReducedMuxData, MergesRawFramesInBlocks) {
  // 3 samples per output frame from sample 5 on; events merge by OR and AND.
  WatchedGroup watched(g_.get());
  SafeArrayHolder out;
  ASSERT_EQ(Call(&watched, 1, 5, 9000, 3, 1, &out), S_OK);
  const Contents<int16_t> merged = Shorts(out.get());
  EXPECT_EQ(merged.vt, VT_I2);
  EXPECT_EQ(merged.extents, (std::vector<LONG>{6, 9000}));
  EXPECT_EQ(merged.lowers, (std::vector<LONG>{1, 1}));
  ExpectMerged(merged, 0, 5, 3, 9000);
  EXPECT_EQ(watched.LargestRead(), 10000);  // 27000 samples in blocks of 10000
  EXPECT_EQ(watched.calls.size(), 3u);
  EXPECT_EQ(watched.calls[1].first, 10005);
}

TEST_P(ReducedMuxData, ReachesTheEndAndLeavesTheRestZero) {
  // 40 frames of 2 asked from sample 3 of 23: 21 samples, 11 frames.
  SafeArrayHolder out;
  ASSERT_EQ(Call(g_.get(), 2, 3, 40, 2, 1, &out), S_OK);
  Contents<int16_t> merged = Shorts(out.get());
  EXPECT_EQ(merged.extents, (std::vector<LONG>{6, 11}));
  ExpectMerged(merged, 1, 3, 2, 11);

  // A block that comes back empty ends the reading: what was merged stays.
  WatchedGroup empty(g_.get());
  empty.empty_at = 1;
  ASSERT_EQ(Call(&empty, 1, 1, 5000, 4, 1, &out), S_OK);
  merged = Shorts(out.get());
  ASSERT_EQ(merged.extents, (std::vector<LONG>{6, 5000}));
  ExpectMerged(merged, 0, 1, 4, 2500);
  for (size_t k = 2500 * 6; k < merged.values.size(); ++k) ASSERT_EQ(merged.values[k], 0) << k;

  // A failing block fails the call.
  WatchedGroup failing(g_.get());
  failing.fail_at = 1;
  EXPECT_EQ(Call(&failing, 1, 1, 5000, 4, 1, &out), E_FAIL);
  EXPECT_EQ(out.get(), nullptr);
}

TEST_P(ReducedMuxData, ArgumentsAndErrors) {
  SafeArrayHolder out;
  EXPECT_EQ(Call(g_.get(), 1, 1, 10, 1, 1, &out), E_INVALIDARG);  // the lower bound of Reduction
  EXPECT_EQ(Call(g_.get(), 1, 1, 10, 2, 0, &out), E_INVALIDARG);
  EXPECT_EQ(Call(nullptr, 1, 1, 10, 2, 1, &out), E_INVALIDARG);
  SAFEARRAY* none = nullptr;
  EXPECT_EQ(GetReducedMuxData(g_.get(), &none, 1, 1, 10, 2, 1, out.put()), E_INVALIDARG);
  EXPECT_EQ(GetReducedMuxData(g_.get(), &none, 1, 1, 10, 2, 1, nullptr), E_POINTER);

  EXPECT_EQ(static_cast<uint32_t>(Call(g_.get(), 0, 1, 10, 2, 1, &out)), 0x800427D9u);
  EXPECT_EQ(static_cast<uint32_t>(Call(g_.get(), 3, 1, 10, 2, 1, &out)), 0x800427D9u);
  // Nothing to read, named as a channel error.
  EXPECT_EQ(static_cast<uint32_t>(Call(g_.get(), 2, 24, 10, 2, 1, &out)), 0x80042778u);
  const ThreadError error = TakeThreadError();
  ASSERT_TRUE(error.present);
  EXPECT_TRUE(error.guid == IID_IChannelInfo);
  EXPECT_EQ(static_cast<uint32_t>(Call(g_.get(), 2, 1, 0, 2, 1, &out)), 0x80042778u);
  // Counts whose product passes 2^63 are cut at the end as well.
  EXPECT_EQ(Call(g_.get(), 2, 1, 0x7FFFFFFF, 0x7FFFFFFF, 0x7FFFFFFF, &out), S_OK);
  EXPECT_EQ(Shorts(out.get()).extents, (std::vector<LONG>{6, 1}));
}

INSTANTIATE_TEST_SUITE_P(MemoryAndFile, ReducedMuxData, ::testing::Bool());

}  // namespace
}  // namespace mlr::api::test
