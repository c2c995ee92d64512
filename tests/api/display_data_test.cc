// GetDisplayData against points worked out from the description: each
// sample (or stored pair) goes to the first point at or after its time,
// points without data are void, narrow points are interpolated.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "LegacyRecording.h"
#include "tests/api/data_test_util.h"

namespace mlr::api::test {
namespace {

const uint32_t kVoidFloat = Bits(static_cast<float>(kVoid));

struct Display {
  HRESULT hr = E_FAIL;
  std::vector<float> max, min;
};

Display Show(IChannelGroup* group, IChannelInfo* channel, double start, double end, LONG count) {
  Display d;
  SafeArrayHolder out;
  // Through the group's member, which hands the call to the function.
  d.hr = group->GetDisplayData(channel, start, end, count, out.put());
  if (out.get() == nullptr) return d;
  const Contents<float> c = Floats(out.get());
  EXPECT_EQ(c.vt, VT_R4);
  EXPECT_EQ(c.lowers, (std::vector<LONG>{0, 0}));
  EXPECT_EQ(c.extents.at(0), 2);
  for (size_t i = 0; i < c.values.size(); i += 2) {
    d.max.push_back(c.values[i]);
    d.min.push_back(c.values[i + 1]);
  }
  return d;
}

// A sample, or a stored pair placed at its first sample's time.
struct Item {
  double t, high, low;
};

// The expected points when every item is put into the first point at or
// after its time; void values are left out.
Display Expected(const std::vector<Item>& samples, double start, double end, LONG count) {
  const double w = (end - start) / (count - 1);
  std::vector<double> high(static_cast<size_t>(count), -HUGE_VAL), low(static_cast<size_t>(count), HUGE_VAL);
  std::vector<bool> used(static_cast<size_t>(count), false);
  LONG reached = 0;
  bool all = false;
  for (const Item& item : samples) {
    const double k = std::max(0.0, std::ceil((item.t - start) / w));
    if (k >= count) {
      all = true;
      break;
    }
    const size_t i = static_cast<size_t>(k);
    used[i] = true;
    reached = std::max<LONG>(reached, static_cast<LONG>(i) + 1);
    if (Bits(item.high) != Bits(kVoid)) high[i] = std::max(high[i], item.high);
    if (Bits(item.low) != Bits(kVoid)) low[i] = std::min(low[i], item.low);
  }
  Display d;
  d.hr = S_OK;
  for (LONG i = 0; i < (all ? count : reached); ++i) {
    const size_t k = static_cast<size_t>(i);
    const bool none = high[k] == -HUGE_VAL;
    d.max.push_back(none ? static_cast<float>(kVoid) : static_cast<float>(high[k]));
    d.min.push_back(none ? static_cast<float>(kVoid) : static_cast<float>(low[k]));
  }
  return d;
}

void ExpectSame(const Display& got, const Display& want) {
  ASSERT_EQ(got.hr, want.hr);
  ASSERT_EQ(got.max.size(), want.max.size());
  for (size_t i = 0; i < got.max.size(); ++i) {
    EXPECT_EQ(Bits(got.max[i]), Bits(want.max[i])) << "point " << i << " max";
    EXPECT_EQ(Bits(got.min[i]), Bits(want.min[i])) << "point " << i << " min";
  }
}

// One analog channel (value = raw / 4, void from t = 3 to 5), two segments
// with a gap: 0 .. 99 s and 200 .. 299 s, 1 s apart; stored reduction 4.
class DisplayData : public GroupTest {
 protected:
  void SetUp() override {
    group_.channels = {{false, {{0.0, 0.25, 0.0}, {0.0, kVoid, 3.0}, {0.0, 0.25, 5.0}}}};
    group_.reduction_factor = 4;
    group_.segments = {PatternSegment(group_, 0, 0.0, 1.0, 100),
                       PatternSegment(group_, 1, 200.0, 1.0, 100)};
    TestGroup other;
    other.channels = {{false, {{0.0, 1.0, 0.0}}}};
    other.segments = {PatternSegment(other, 0, 0.0, 1.0, 5)};
    Build({other});
    c_ = ch_.at(0);
  }

  // The samples of segment `seg` from `first` on.
  std::vector<Item> Samples(size_t seg, size_t first) const {
    std::vector<Item> out;
    for (size_t f = first; f < group_.Length(seg); ++f) {
      const double t = group_.TimeOf(seg, f);
      const double v = group_.Scaled(0, t, group_.Raw(seg, f, 0));
      out.push_back({t, v, v});
    }
    return out;
  }

  // Pairs of `span` samples of segment `seg`, scaled with the normset valid
  // at their first sample.
  std::vector<Item> Pairs(size_t seg, size_t span) const {
    std::vector<Item> out;
    for (size_t f = 0; f < group_.Length(seg); f += span) {
      const double t = group_.TimeOf(seg, f);
      const auto [high, low] = group_.MaxMin(seg, 0, f, span);
      out.push_back({t, group_.Scaled(0, t, high), group_.Scaled(0, t, low)});
    }
    return out;
  }

  ComPtr<IChannelInfo> c_;
};

TEST_P(DisplayData, MergesSamplesIntoThePointAtOrAfterThem) {
  // W = 2 s: R = 1, one or two samples a point; the sample at or before the
  // start (10 s) goes to point 0; void samples (3, 4 s) are left out.
  ExpectSame(Show(g_.get(), c_.get(), 10.5, 30.5, 11), Expected(Samples(0, 10), 10.5, 30.5, 11));
  // W = 1 s: R = 0, one sample a point; 3 and 4 s are void.
  const Display voids = Show(g_.get(), c_.get(), 0.5, 6.5, 7);
  ExpectSame(voids, Expected(Samples(0, 0), 0.5, 6.5, 7));
  EXPECT_EQ(voids.max[2], static_cast<float>(group_.Scaled(0, 2, group_.Raw(0, 2, 0))));
  EXPECT_EQ(Bits(voids.max[3]), kVoidFloat);
  EXPECT_EQ(Bits(voids.min[4]), kVoidFloat);
  EXPECT_NE(Bits(voids.max[5]), kVoidFloat);
  // A start in the gap between the normsets: void points up to the next
  // normset's first sample; data that end before EndTime: only the points
  // reached (up to 299 s).
  const Display late = Show(g_.get(), c_.get(), 190.0, 400.0, 211);
  EXPECT_EQ(late.max.size(), 110u);
  ExpectSame(late, Expected(Samples(1, 0), 190.0, 400.0, 211));
}

TEST_P(DisplayData, WidePointsUseTheStoredReduction) {
  // W = 49.5 s: R = 24, a multiple of the stored 4; each pair covers 24
  // samples and is placed at its first sample's time.
  WatchedGroup watched(g_.get());
  ExpectSame(Show(&watched, c_.get(), 0.0, 99.0, 3), Expected(Pairs(0, 24), 0.0, 99.0, 3));
  ASSERT_FALSE(watched.calls.empty());
  for (const auto& call : watched.calls) EXPECT_EQ(call.reduction, 24);
}

TEST_P(DisplayData, NarrowPointsAreInterpolated) {
  // W = 0.5 s < 1 s: points between samples take the straight line between
  // them; the first point has no sample before it and stays void.
  const Display d = Show(g_.get(), c_.get(), 10.0, 12.0, 5);
  ASSERT_EQ(d.max.size(), 5u);
  const double v10 = group_.Scaled(0, 10, group_.Raw(0, 10, 0));
  const double v11 = group_.Scaled(0, 11, group_.Raw(0, 11, 0));
  const double v12 = group_.Scaled(0, 12, group_.Raw(0, 12, 0));
  EXPECT_EQ(Bits(d.max[0]), kVoidFloat);
  EXPECT_EQ(d.max[1], static_cast<float>(v10 + 0.5 * (v11 - v10)));
  EXPECT_EQ(d.min[1], d.max[1]);
  EXPECT_EQ(d.max[2], static_cast<float>(v11));
  EXPECT_EQ(d.max[3], static_cast<float>(v11 + 0.5 * (v12 - v11)));

  // Across the gap: from the last sample of the first normset (99 s) to the
  // first of the second (200 s).
  const Display gap = Show(g_.get(), c_.get(), 199.5, 200.5, 3);
  const double v99 = group_.Scaled(0, 99, group_.Raw(0, 99, 0));
  const double w200 = group_.Scaled(0, 200, group_.Raw(1, 0, 0));
  const double w201 = group_.Scaled(0, 201, group_.Raw(1, 1, 0));
  ASSERT_EQ(gap.max.size(), 3u);
  EXPECT_EQ(gap.max[0], static_cast<float>(v99 + 100.5 * (w200 - v99) / 101.0));
  EXPECT_EQ(gap.max[1], static_cast<float>(v99 + 101.0 * (w200 - v99) / 101.0));
  EXPECT_EQ(gap.max[2], static_cast<float>(w200 + 0.5 * (w201 - w200)));
  // A range inside the gap reaches no normset: no points, no error.
  const Display inside = Show(g_.get(), c_.get(), 150.0, 150.5, 2);
  EXPECT_EQ(inside.hr, S_OK);
  EXPECT_TRUE(inside.max.empty());

  // StartTime = EndTime: W = 0, every point at the same time.
  const Display same = Show(g_.get(), c_.get(), 10.5, 10.5, 3);
  ASSERT_EQ(same.max.size(), 3u);
  EXPECT_EQ(same.max[2], static_cast<float>(v10 + 0.5 * (v11 - v10)));
}

TEST_P(DisplayData, ArgumentsAndErrors) {
  SafeArrayHolder out;
  EXPECT_EQ(GetDisplayData(g_.get(), c_.get(), 0.0, 10.0, 5, nullptr), E_POINTER);
  EXPECT_EQ(GetDisplayData(g_.get(), c_.get(), 10.0, 0.0, 5, out.put()), E_INVALIDARG);
  EXPECT_EQ(GetDisplayData(g_.get(), c_.get(), 0.0, 10.0, 1, out.put()), E_INVALIDARG);
  EXPECT_EQ(GetDisplayData(nullptr, c_.get(), 0.0, 10.0, 5, out.put()), E_INVALIDARG);
  EXPECT_EQ(GetDisplayData(g_.get(), nullptr, 0.0, 10.0, 5, out.put()), E_INVALIDARG);
  EXPECT_EQ(static_cast<uint32_t>(GetDisplayData(g_.get(), c_.get(), 300.5, 400.0, 5, out.put())),
            0x800427D9u);
  EXPECT_EQ(TakeThreadError().description, u"Invalid normset index specified");
  EXPECT_EQ(out.get(), nullptr);
  // A channel of another group: the group's own failure.
  const ComPtr<IChannelInfo> foreign = Channel(recording_.get(), 2, 1);
  EXPECT_EQ(GetDisplayData(g_.get(), foreign.get(), 0.0, 10.0, 5, out.put()), E_FAIL);
  EXPECT_EQ(out.get(), nullptr);
}

TEST_P(DisplayData, AFailingReadKeepsThePointsDone) {
  // Blocks of 16384 values at most; the second block read fails.
  TestGroup long_group;
  long_group.channels = {{false, {{0.0, 1.0, 0.0}}}};
  long_group.segments = {PatternSegment(long_group, 0, 0.0, 0.001, 40000)};
  const ComPtr<IRecording> r = GetParam() ? InFile({long_group}) : InMemory({long_group});
  const ComPtr<IChannelGroup> g = Group(r.get(), 1);
  const ComPtr<IChannelInfo> c = Channel(g.get(), 1);
  WatchedGroup watched(g.get());
  std::vector<Item> samples;
  for (size_t f = 0; f < 40000; ++f) {
    const double v = long_group.Raw(0, f, 0);
    samples.push_back({long_group.TimeOf(0, f), v, v});
  }
  ExpectSame(Show(&watched, c.get(), 0.0, 39.999, 20000), Expected(samples, 0.0, 39.999, 20000));
  EXPECT_EQ(watched.LargestRead(), 16384);

  watched.calls.clear();
  watched.fail_at = 1;
  const Display cut = Show(&watched, c.get(), 0.0, 39.999, 20000);
  EXPECT_EQ(cut.hr, S_OK);
  // Samples 0 .. 16383, two a point after the first; the last point holds
  // one sample and counts as done.
  EXPECT_EQ(cut.max.size(), 8193u);
  watched.calls.clear();
  watched.fail_at = 0;
  EXPECT_EQ(Show(&watched, c.get(), 0.0, 39.999, 20000).hr, E_FAIL);
}

INSTANTIATE_TEST_SUITE_P(MemoryAndFile, DisplayData, ::testing::Bool());

}  // namespace
}  // namespace mlr::api::test
