// Normsets: derived values and the three time searches, on small collections
// (edge cases) and on large ones, checked against a linear scan.
#include <gtest/gtest.h>

#include <vector>

#include "model/normset_search.h"
#include "model_test_util.h"

namespace mlr::model::testing {
namespace {

// The index of the normset a search finds at t (0: none).
template <class C, class N>
LONG Found(C* normsets, HRESULT (STDMETHODCALLTYPE C::*search)(double, N**), double t) {
  ComPtr<N> found;
  EXPECT_EQ(S_OK, (normsets->*search)(t, found.put()));
  return found ? Get(found.get(), &N::get_Index) : 0;
}
LONG FirstEndingAfter(IHNorms* hnorms, double t) {
  return Found(hnorms, &IHNorms::GetFirstEndingAfter, t);
}
LONG LastStartingBefore(IHNorms* hnorms, double t) {
  return Found(hnorms, &IHNorms::GetLastStartingBefore, t);
}
LONG ValidAt(IVNorms* vnorms, double t) { return Found(vnorms, &IVNorms::GetFromTime, t); }

TEST(ModelNormsets, HorizontalDerivedValues) {
  ComPtr<IRecording> recording =
      MakeRecording({MakeGroup(1, {{2.0, 0.25, 1}, {3.0, 0.25, 0}, {4.0, 0.5, 9}})});
  ComPtr<IHNorms> hnorms = HNorms(recording.get(), 1);
  struct Expect {
    LONG index;
    double duration;
    double end;
  };
  for (const Expect& e : {Expect{1, 0.0, 2.0}, Expect{2, -0.25, 2.75}, Expect{3, 4.0, 8.0}}) {
    ComPtr<IHNorm> hnorm = At(hnorms.get(), e.index);
    EXPECT_DOUBLE_EQ(e.duration, Get(hnorm.get(), &IHNorm::get_Duration)) << e.index;
    EXPECT_DOUBLE_EQ(e.end, Get(hnorm.get(), &IHNorm::get_EndTime)) << e.index;
    EXPECT_EQ(E_POINTER, hnorm->get_EndTime(nullptr));
  }
}

// Segment i (1-based) covers [10 (i - 1), 10 (i - 1) + 5]: from none at all
// to collections large enough for the bisection, times before, on, between
// and after the segments.
TEST(ModelNormsets, HorizontalSearches) {
  for (LONG n : {0, 1, 2, 3, 4, 7, 100, 1001}) {
    std::vector<Segment> segments;
    for (LONG i = 0; i < n; ++i) segments.push_back({10.0 * i, 1.0, 6});
    ComPtr<IRecording> recording = MakeRecording({MakeGroup(1, segments)});
    ComPtr<IHNorms> hnorms = HNorms(recording.get(), 1);
    LONG count = 0;
    ASSERT_EQ(S_OK, hnorms->get_Count(&count));
    ASSERT_EQ(n, count);
    const double last_end = 10.0 * (n - 1) + 5.0;
    for (double t = -3.0; t <= last_end + 3.0; t += 2.5) {
      // Linear oracles of the documented meaning.
      LONG first_ending = 0;
      for (LONG i = 1; i <= n && first_ending == 0; ++i) {
        if (10.0 * (i - 1) + 5.0 >= t) first_ending = i;
      }
      LONG last_starting = 0;
      for (LONG i = 1; i <= n; ++i) {
        if (10.0 * (i - 1) <= t) last_starting = i;
      }
      EXPECT_EQ(first_ending, FirstEndingAfter(hnorms.get(), t)) << "n " << n << " t " << t;
      EXPECT_EQ(last_starting, LastStartingBefore(hnorms.get(), t)) << "n " << n << " t " << t;
    }
    // Exact ends and starts are found.
    if (n == 0) continue;
    const LONG middle = (n + 1) / 2;
    EXPECT_EQ(middle, FirstEndingAfter(hnorms.get(), 10.0 * (middle - 1) + 5.0));
    EXPECT_EQ(middle, LastStartingBefore(hnorms.get(), 10.0 * (middle - 1)));
  }
  ComPtr<IRecording> empty = MakeRecording({MakeGroup(1, {})});
  EXPECT_EQ(E_POINTER, HNorms(empty.get(), 1)->GetFirstEndingAfter(0.0, nullptr));
  EXPECT_EQ(E_POINTER, HNorms(empty.get(), 1)->GetLastStartingBefore(0.0, nullptr));
}

TEST(ModelNormsets, VerticalSearches) {
  for (LONG n : {0, 1, 3, 4, 9, 500}) {
    MemoryGroupSpec group = MakeGroup(1, {{0.0, 1.0, 2 * n + 1}});  // ends at 2n
    group.channels[0].vnorms.clear();
    for (LONG i = 0; i < n; ++i) group.channels[0].vnorms.push_back({0.0, 1.0, 2.0 * i});
    ComPtr<IRecording> recording = MakeRecording({group});
    ComPtr<IVNorms> vnorms = VNorms(recording.get(), 1, 1);
    for (double t = -1.0; t <= 2.0 * n + 10.0; t += 0.5) {
      // Normset i is valid on [2 (i - 1), 2 i); the last one beyond.
      LONG expected = 0;
      if (n > 0) {
        expected = t < 0 ? 1 : static_cast<LONG>(t / 2.0) + 1;
        if (expected > n) expected = n;
      }
      EXPECT_EQ(expected, ValidAt(vnorms.get(), t)) << "n " << n << " t " << t;
    }
    // A normset ends where the next starts, the last 5 s after the group's end.
    if (n > 1) {
      EXPECT_DOUBLE_EQ(2.0, Get(At(vnorms.get(), 1).get(), &IVNorm::get_EndTime));
    }
    if (n > 0) {
      EXPECT_DOUBLE_EQ(2.0 * n + 5.0, Get(At(vnorms.get(), n).get(), &IVNorm::get_EndTime));
    }
  }
  ComPtr<IRecording> recording = MakeRecording({MakeGroup(1, {})});
  EXPECT_EQ(E_POINTER, VNorms(recording.get(), 1, 1)->GetFromTime(0.0, nullptr));
}

// A collection that reports a count near the 32-bit limit (a source may
// serve its normsets without storing them): the searches must keep every
// index they ask for within 1..Count and still find the right normset.
struct HugeNormset {
  LONG index;
  HRESULT get_StartTime(double* value) const {
    *value = index;
    return S_OK;
  }
  HRESULT get_EndTime(double* value) const {
    *value = index + 0.5;
    return S_OK;
  }
  void Release() { delete this; }
};

struct HugeNormsets {
  LONG lowest_asked = 0x7FFFFFFF;
  LONG highest_asked = 1;
  HRESULT get_Count(LONG* count) const {
    *count = 0x7FFFFFFF;
    return S_OK;
  }
  HRESULT get_Item(LONG index, HugeNormset** item) {
    if (index < lowest_asked) lowest_asked = index;
    if (index > highest_asked) highest_asked = index;
    *item = index >= 1 ? new HugeNormset{index} : nullptr;
    return S_OK;
  }
};

TEST(ModelNormsets, SearchesStayInRangeOnCollectionsNearTheCountLimit) {
  using Search = HRESULT (*)(HugeNormsets*, double, HugeNormset**);
  const Search searches[] = {&mlr::model::FirstEndingAfter<HugeNormsets, HugeNormset>,
                             &mlr::model::LastStartingBefore<HugeNormsets, HugeNormset>,
                             &mlr::model::ValidAtTime<HugeNormsets, HugeNormset>};
  for (Search search : searches) {
    for (double t : {1.0e9, 2147483000.0}) {
      HugeNormsets normsets;
      HugeNormset* found = nullptr;
      EXPECT_EQ(S_OK, search(&normsets, t, &found));
      ASSERT_NE(nullptr, found) << t;
      EXPECT_EQ(static_cast<LONG>(t), found->index) << t;
      found->Release();
      EXPECT_GE(normsets.lowest_asked, 1) << t;
    }
  }
}

}  // namespace
}  // namespace mlr::model::testing
