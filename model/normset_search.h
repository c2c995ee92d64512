// The three time searches of the normset collections.
//
// They work only through the collection's own interface members (`get_Count`,
// `get_Item`) and the items' time getters, so that a derived collection's
// overrides take effect, and they release every item they take. Every search
// returns S_OK, except E_POINTER for a null out pointer; "none" leaves the
// out pointer null. Midpoints are (lo + hi) / 2 truncated, computed without
// overflow so that a count near the 32-bit limit stays within 1..Count.
// An item that cannot be obtained during the search reads as time 0.0.
//
//   FirstEndingAfter(t)  - the first normset whose EndTime is at or after t.
//                          The bisection tests "greater", the final scan
//                          "greater or equal": a normset ending exactly at t
//                          is found.
//   LastStartingBefore(t) - the last normset whose StartTime is at or before
//                          t; a time in a gap gives the earlier segment, a
//                          time past the last start the last normset.
//   ValidAtTime(t)       - the vertical normset valid at t: the first whose
//                          EndTime is after t, the last candidate taken
//                          untested; a time past every end still yields the
//                          last normset, an empty collection none.
//
// Items are assumed to be in ascending time order; nothing checks it.
#pragma once

#include "platform/win.h"

namespace mlr::model {

namespace search_detail {

// (lo + hi) / 2 for 1 <= lo <= hi, without the overflow of the plain sum.
inline LONG Midpoint(LONG lo, LONG hi) { return lo + (hi - lo) / 2; }

template <class Collection, class Item>
Item* Take(Collection* collection, LONG index) {
  Item* item = nullptr;
  collection->get_Item(index, &item);
  return item;
}

template <class Collection, class Item>
double EndTimeOf(Collection* collection, LONG index) {
  double value = 0.0;
  if (Item* item = Take<Collection, Item>(collection, index)) {
    item->get_EndTime(&value);
    item->Release();
  }
  return value;
}

template <class Collection, class Item>
double StartTimeOf(Collection* collection, LONG index) {
  double value = 0.0;
  if (Item* item = Take<Collection, Item>(collection, index)) {
    item->get_StartTime(&value);
    item->Release();
  }
  return value;
}

// The bisection of FirstEndingAfter and ValidAtTime, narrowing [*lo, *hi]:
// while more than two candidates remain, an item ending after t becomes the
// upper bound, any other the lower one.
template <class Collection, class Item>
void NarrowOnEndTime(Collection* collection, double t, LONG* lo, LONG* hi) {
  while (*hi - *lo + 1 > 2) {
    const LONG mid = Midpoint(*lo, *hi);
    if (EndTimeOf<Collection, Item>(collection, mid) > t) {
      *hi = mid;
    } else {
      *lo = mid;
    }
  }
}

}  // namespace search_detail

template <class Collection, class Item>
HRESULT FirstEndingAfter(Collection* collection, double t, Item** result) {
  using namespace search_detail;
  if (result == nullptr) return E_POINTER;
  *result = nullptr;
  LONG n = 0;
  collection->get_Count(&n);
  LONG lo = 1;
  LONG hi = n;
  NarrowOnEndTime<Collection, Item>(collection, t, &lo, &hi);
  LONG i = lo;
  while (i <= hi) {
    if (EndTimeOf<Collection, Item>(collection, i) >= t) break;
    ++i;
  }
  if (i <= n) collection->get_Item(i, result);
  return S_OK;
}

template <class Collection, class Item>
HRESULT LastStartingBefore(Collection* collection, double t, Item** result) {
  using namespace search_detail;
  if (result == nullptr) return E_POINTER;
  *result = nullptr;
  LONG n = 0;
  collection->get_Count(&n);
  LONG lo = 1;
  LONG hi = n;
  while (hi - lo + 1 > 2) {
    const LONG mid = Midpoint(lo, hi);
    if (t > StartTimeOf<Collection, Item>(collection, mid)) {
      lo = mid;
    } else {
      hi = mid;
    }
  }
  LONG i = hi;
  while (i >= lo) {
    if (t < StartTimeOf<Collection, Item>(collection, i)) {
      --i;
    } else {
      break;
    }
  }
  if (i > 0) collection->get_Item(i, result);
  return S_OK;
}

template <class Collection, class Item>
HRESULT ValidAtTime(Collection* collection, double t, Item** result) {
  using namespace search_detail;
  if (result == nullptr) return E_POINTER;
  *result = nullptr;
  LONG n = 0;
  collection->get_Count(&n);
  LONG lo = 1;
  LONG hi = n;
  NarrowOnEndTime<Collection, Item>(collection, t, &lo, &hi);
  LONG i = lo;
  while (i < hi) {
    if (EndTimeOf<Collection, Item>(collection, i) > t) break;
    ++i;
  }
  if (i > n) i = n;
  collection->get_Item(i, result);
  return S_OK;
}

}  // namespace mlr::model
