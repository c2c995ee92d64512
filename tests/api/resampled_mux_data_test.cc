// GetResampledMuxData: one frame out of N, always from sample 1 of the
// normset.
#include <gtest/gtest.h>

#include "LegacyRecording.h"
#include "tests/api/data_test_util.h"

namespace mlr::api::test {
namespace {

class ResampledMuxData : public GroupTest {
 protected:
  void SetUp() override {
    group_.channels = {{false, {{0.0, 1.0, 0.0}}}, {true, {}}};
    group_.reduction_factor = 5;
    group_.segments = {PatternSegment(group_, 0, 0.0, 0.001, 25003),
                       PatternSegment(group_, 1, 30.0, 0.5, 10),
                       PatternSegment(group_, 2, 40.0, 0.5, 0)};
    Build();
    a_ = ch_.at(0);
    e_ = ch_.at(1);
  }

  HRESULT Call(IChannelGroup* group, const std::vector<IChannelInfo*>& channels, LONG hnorm,
               LONG first, LONG count, LONG n, SafeArrayHolder* result) {
    SafeArrayHolder selection(ChannelList(channels, VT_UNKNOWN));
    SAFEARRAY* list = selection.get();
    // Through the group's member, which hands the call to the function.
    return group->GetResampledMuxData(&list, hnorm, first, count, n, result->put());
  }

  ComPtr<IChannelInfo> a_, e_;
};

TEST_P(ResampledMuxData, EveryChunkBeginsAtTheNextWantedSample) {
  WatchedGroup watched(g_.get());
  SafeArrayHolder out;
  ASSERT_EQ(Call(&watched, {e_.get(), a_.get()}, 1, 1, 1000000, 3, &out), S_OK);
  const Contents<int16_t> all = Shorts(out.get());
  ASSERT_EQ(all.extents, (std::vector<LONG>{2, 8335}));  // (25003 - 1) / 3 + 1
  for (size_t i = 0; i < 8335; ++i) {
    ASSERT_EQ(all.values[2 * i], group_.Raw(0, 3 * i, 1)) << i;
    ASSERT_EQ(all.values[2 * i + 1], group_.Raw(0, 3 * i, 0)) << i;
  }
  ASSERT_GE(watched.calls.size(), 3u);
  EXPECT_EQ(watched.calls[1].first, 10003);  // 3334 samples taken from 1 .. 10000
  EXPECT_LE(watched.LargestRead(), 10000);
  // Beyond one chunk apart, each sample is read on its own.
  WatchedGroup sparse(g_.get());
  ASSERT_EQ(Call(&sparse, {a_.get()}, 1, 1, 100, 20000, &out), S_OK);
  EXPECT_EQ(Shorts(out.get()).values,
            (std::vector<int16_t>{group_.Raw(0, 0, 0), group_.Raw(0, 20000, 0)}));
  EXPECT_EQ(sparse.LargestRead(), 1);

  // A failing read ends the reading quietly; the array is cut to what came.
  WatchedGroup failing(g_.get());
  failing.fail_at = 1;
  ASSERT_EQ(Call(&failing, {a_.get()}, 1, 1, 1000000, 3, &out), S_OK);
  EXPECT_EQ(Shorts(out.get()).extents, (std::vector<LONG>{3334}));
  failing.calls.clear();
  failing.fail_at = 0;
  ASSERT_EQ(Call(&failing, {a_.get()}, 1, 1, 1000000, 3, &out), S_OK);
  EXPECT_EQ(out.get(), nullptr);
}

TEST_P(ResampledMuxData, ArgumentsAndErrors) {
  SafeArrayHolder out;
  EXPECT_EQ(Call(g_.get(), {a_.get()}, 1, 1, 0, 3, &out), S_FALSE);
  EXPECT_EQ(out.get(), nullptr);
  EXPECT_EQ(Call(g_.get(), {a_.get()}, 1, 1, 5, 0, &out), S_FALSE);
  EXPECT_EQ(Call(g_.get(), {a_.get()}, 1, 1, 5, -2, &out), S_FALSE);
  // N = 1 is the group's own GetMuxData, FirstSample included.
  ASSERT_EQ(Call(g_.get(), {a_.get(), e_.get()}, 2, 3, 2, 1, &out), S_OK);
  const Contents<int16_t> raw = Shorts(out.get());
  EXPECT_EQ(raw.lowers, (std::vector<LONG>{1, 1}));
  EXPECT_EQ(raw.values[0], group_.Raw(1, 2, 0));
  EXPECT_EQ(Call(g_.get(), {a_.get()}, 0, 1, 5, 1, &out), E_INVALIDARG);

  EXPECT_EQ(static_cast<uint32_t>(Call(g_.get(), {a_.get()}, 0, 1, 5, 2, &out)), 0x800427D9u);
  EXPECT_EQ(TakeThreadError().description, u"Invalid normset index specified");
  EXPECT_EQ(static_cast<uint32_t>(Call(g_.get(), {a_.get()}, 4, 1, 5, 2, &out)), 0x800427D9u);
  EXPECT_EQ(static_cast<uint32_t>(Call(g_.get(), {a_.get()}, 3, 1, 5, 2, &out)), 0x800428A0u);
  EXPECT_EQ(TakeThreadError().description, u"Timezone does not contain any samples");
  EXPECT_EQ(out.get(), nullptr);
  SAFEARRAY* result = nullptr;
  EXPECT_EQ(GetResampledMuxData(g_.get(), nullptr, 1, 1, 5, 2, nullptr), E_POINTER);
  EXPECT_EQ(GetResampledMuxData(g_.get(), nullptr, 1, 1, 5, 2, &result), E_INVALIDARG);
}

INSTANTIATE_TEST_SUITE_P(MemoryAndFile, ResampledMuxData, ::testing::Bool());

}  // namespace
}  // namespace mlr::api::test
