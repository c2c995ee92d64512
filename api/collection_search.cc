// GetEventTimesFromCollection and FindItemFromTimeCollection: a recording's
// event collections searched by time, through IRecording::Collection and the
// collections' interfaces only. Two shapes are understood: bookmarks
// (IBookmarks of IBookmark) and time-mark collections (ITimemarks of items
// answering ITimemark, with GetIndicesFromTime: markers, voice marks,
// triggers, and bookmarks as well).
//
// GetEventTimesFromCollection lists, in collection order, the times of at
// most Count events with StartTime <= time <= EndTime (a void StartTime or
// EndTime stands for the recording's own start or end). Bookmarks (3) are
// walked one by one; markers (2), voice marks (4) and triggers (5) are
// narrowed with GetIndicesFromTime first; items that do not answer
// ITimemark are skipped. No event found gives S_OK with a null Items; a
// null collection gives S_OK with Items untouched.
//
// FindItemFromTimeCollection answers the item at (Direction 0), after
// (Direction > 0) or before (Direction < 0) a time, as IUnknown, or S_OK
// with a null result when there is none. "At" means within 1e-20 s. For a
// time-mark collection the search covers the items up to the recording's
// EndTime; "before" takes the last item up to the time when none lies
// after it; "after" an item exactly at the time is the next one. Other
// collections give a null result.
//
// Neither raises errors of its own; failures of the recording's StartTime,
// EndTime and Collection are returned as they stand. Choices where the
// contract leaves room:
// - A null Recording or out pointer gives E_POINTER.
// - A Count of 0 or less gives S_OK with a null Items. The array is made
//   only as large as what was found, so a huge Count costs no memory.
// - Failures of the collection's own Count and GetIndicesFromTime are
//   returned as they stand (with a null result); a collection that does not
//   offer the interface its selector needs gives S_OK with a null result.
// Thread-safe as far as the recording is; every reference taken is released.
#include <cmath>
#include <cstdint>
#include <vector>

#include "LegacyRecording.h"
#include "api/void_number.h"
#include "platform/com_ptr.h"
#include "platform/win.h"

namespace {

using mlr::ComPtr;

constexpr double kExactTime = 1e-20;

bool AtTime(double item_time, double time) { return std::fabs(item_time - time) < kExactTime; }

// The times of one collection that fall into [start, end], at most `limit`.
class TimeList {
 public:
  TimeList(double start, double end, LONG limit) : start_(start), end_(end), limit_(limit) {}

  bool full() const { return static_cast<int64_t>(times_.size()) >= limit_; }
  void Offer(double time) {
    if (start_ <= time && time <= end_) times_.push_back(time);
  }
  // A new VT_R8 vector (lower bound 0) of the times, null when there are
  // none; E_OUTOFMEMORY.
  HRESULT ToArray(SAFEARRAY** items) const;

 private:
  double start_, end_;
  LONG limit_;
  std::vector<double> times_;
};

HRESULT TimeList::ToArray(SAFEARRAY** items) const {
  *items = nullptr;
  if (times_.empty()) return S_OK;
  SAFEARRAY* array = SafeArrayCreateVector(VT_R8, 0, static_cast<ULONG>(times_.size()));
  void* data = nullptr;
  if (!array || FAILED(SafeArrayAccessData(array, &data))) {
    if (array) SafeArrayDestroy(array);
    return E_OUTOFMEMORY;
  }
  double* out = static_cast<double*>(data);
  for (size_t k = 0; k < times_.size(); ++k) out[k] = times_[k];
  SafeArrayUnaccessData(array);
  *items = array;
  return S_OK;
}

HRESULT CollectBookmarks(IBookmarks* bookmarks, TimeList* list) {
  LONG count = 0;
  HRESULT hr = bookmarks->get_Count(&count);
  if (FAILED(hr)) return hr;
  for (LONG index = 1; index <= count && !list->full(); ++index) {
    ComPtr<IBookmark> bookmark;
    double time = 0.0;
    if (SUCCEEDED(bookmarks->get_Item(index, bookmark.put())) && bookmark &&
        SUCCEEDED(bookmark->get_Time(&time))) {
      list->Offer(time);
    }
  }
  return S_OK;
}

// The ITimemark of a collection's item, or null.
ComPtr<ITimemark> TimemarkAt(ITimemarks* marks, int64_t index) {
  ComPtr<IUnknown> item;
  ComPtr<ITimemark> mark;
  if (SUCCEEDED(marks->get_Item(static_cast<LONG>(index), item.put())) && item) {
    item.As(&mark);
  }
  return mark;
}

HRESULT CollectTimemarks(ITimemarks* marks, double start, double end, TimeList* list) {
  LONG first = -1, last = -1;
  const HRESULT hr = marks->GetIndicesFromTime(start, end, &first, &last);
  if (FAILED(hr)) return hr;
  if (first < 1) return S_OK;
  for (int64_t index = first; index <= last && !list->full(); ++index) {
    double time = 0.0;
    ComPtr<ITimemark> mark = TimemarkAt(marks, index);
    if (mark && SUCCEEDED(mark->get_Time(&time))) list->Offer(time);
  }
  return S_OK;
}

// The index chosen for `direction` (-1, 0, 1) from the candidate `found`
// whose time is `found_time`: the first item at or after the time, or the
// last before it when nothing lies after. `previous` is the index to take
// for -1 when the candidate lies before the time; -1 when there is none.
LONG ChooseIndex(LONG direction, LONG found, double found_time, double time, LONG previous) {
  const bool exact = AtTime(found_time, time);
  switch (direction) {
    case -1:
      return found_time < time && !exact ? previous : found - 1;
    case 0:
      return exact ? found : -1;
    default:
      return exact ? found + 1 : found;
  }
}

HRESULT FindTimemark(ITimemarks* marks, double time, LONG direction, double start, double end,
                     IUnknown** result) {
  LONG count = 0;
  HRESULT hr = marks->get_Count(&count);
  if (FAILED(hr)) return hr;
  LONG first = -1, last = -1;
  hr = marks->GetIndicesFromTime(time, end, &first, &last);
  if (FAILED(hr)) return hr;
  if (first == -1) {
    if (direction >= 0) return S_OK;
    hr = marks->GetIndicesFromTime(start, time, &first, &last);
    if (FAILED(hr)) return hr;
    if (first == -1) return S_OK;
    first = last;
  }
  ComPtr<ITimemark> mark = TimemarkAt(marks, first);
  double found_time = 0.0;
  if (!mark || FAILED(mark->get_Time(&found_time))) return S_OK;
  const LONG k = ChooseIndex(direction, first, found_time, time, first);
  if (k < 1 || k > count) return S_OK;
  return marks->get_Item(k, result);
}

HRESULT FindBookmark(IBookmarks* bookmarks, double time, LONG direction, IUnknown** result) {
  LONG count = 0;
  HRESULT hr = bookmarks->get_Count(&count);
  if (FAILED(hr)) return hr;
  LONG index = 1;
  double found_time = 0.0;
  for (; index <= count; ++index) {
    ComPtr<IBookmark> bookmark;
    if (SUCCEEDED(bookmarks->get_Item(index, bookmark.put())) && bookmark &&
        SUCCEEDED(bookmark->get_Time(&found_time)) && time <= found_time) {
      break;
    }
  }
  const LONG k = ChooseIndex(direction, index, found_time, time, count);
  if (k < 1 || k > count) return S_OK;
  ComPtr<IBookmark> bookmark;
  hr = bookmarks->get_Item(k, bookmark.put());
  if (FAILED(hr) || !bookmark) return hr;
  return bookmark->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(result));
}

}  // namespace

MLR_API HRESULT STDAPICALLTYPE GetEventTimesFromCollection(IRecording* Recording,
                                                           kalRecordingCollection Collection,
                                                           double StartTime, double EndTime,
                                                           LONG Count, SAFEARRAY** Items) {
  if (!Recording || !Items) return E_POINTER;
  HRESULT hr = S_OK;
  if (mlr::HasVoidHighWord(StartTime) && FAILED(hr = Recording->get_StartTime(&StartTime))) {
    return hr;
  }
  if (mlr::HasVoidHighWord(EndTime) && FAILED(hr = Recording->get_EndTime(&EndTime))) return hr;
  ComPtr<IUnknown> collection;
  hr = Recording->get_Collection(Collection, collection.put());
  if (FAILED(hr)) return hr;
  if (!collection) return S_OK;

  TimeList list(StartTime, EndTime, Count);
  if (Collection == kalRecColBookmarks) {
    ComPtr<IBookmarks> bookmarks;
    if (SUCCEEDED(collection.As(&bookmarks)) && bookmarks) {
      hr = CollectBookmarks(bookmarks.get(), &list);
    }
  } else if (Collection == kalRecColMarkers || Collection == kalRecColVoicemarks ||
             Collection == kalRecColTriggers) {
    ComPtr<ITimemarks> marks;
    if (SUCCEEDED(collection.As(&marks)) && marks) {
      hr = CollectTimemarks(marks.get(), StartTime, EndTime, &list);
    }
  }
  if (FAILED(hr)) {
    *Items = nullptr;
    return hr;
  }
  return list.ToArray(Items);
}

MLR_API HRESULT STDAPICALLTYPE FindItemFromTimeCollection(IRecording* Recording,
                                                          kalRecordingCollection Collection,
                                                          double Time, LONG Direction,
                                                          IUnknown** Result) {
  if (!Result) return E_POINTER;
  *Result = nullptr;
  if (!Recording) return E_POINTER;
  const LONG direction = Direction < 0 ? -1 : (Direction > 0 ? 1 : 0);
  double start = 0.0, end = 0.0;
  HRESULT hr = Recording->get_StartTime(&start);
  if (FAILED(hr)) return hr;
  hr = Recording->get_EndTime(&end);
  if (FAILED(hr)) return hr;
  ComPtr<IUnknown> collection;
  hr = Recording->get_Collection(Collection, collection.put());
  if (FAILED(hr) || !collection) return hr;

  ComPtr<ITimemarks> marks;
  if (SUCCEEDED(collection.As(&marks)) && marks) {
    return FindTimemark(marks.get(), Time, direction, start, end, Result);
  }
  ComPtr<IBookmarks> bookmarks;
  if (Collection == kalRecColBookmarks && SUCCEEDED(collection.As(&bookmarks)) && bookmarks) {
    return FindBookmark(bookmarks.get(), Time, direction, Result);
  }
  return S_OK;
}
