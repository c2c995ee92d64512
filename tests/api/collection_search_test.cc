// GetEventTimesFromCollection and FindItemFromTimeCollection on the
// in-memory recording (markers, bookmarks, triggers) and on fakes for what
// the model never produces (items without ITimemark, bookmark collections
// without ITimemarks, failing recordings). Recording files, voice marks
// included, are searched through `krf events` and `krf find` by
// interop_values.py.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "LegacyRecording.h"
#include "model/memory_recording.h"
#include "platform/com_ptr.h"
#include "platform/win.h"
#include "tests/api/data_test_util.h"
#include "tests/api/fake_recording.h"

namespace {

using mlr::ComPtr;
using mlr::api::test::kVoid;

// Markers at 1, 2, 3 and 12; bookmarks at 0.5, 2 ("b"), 2 ("c"), 7;
// triggers at 1.5 and 4; the data run from 0 to 10 s.
ComPtr<IRecording> EventRecording() {
  mlr::model::MemoryRecordingSpec spec;
  mlr::model::MemoryGroupSpec group;
  group.channels.push_back({u"A", u"V", false, {}, {{0.0, 1.0, 0.0}}});
  group.segments.push_back({0.0, 1.0, std::vector<int16_t>(11, 0)});
  spec.groups.push_back(group);
  spec.markers = {1.0, 2.0, 3.0, 12.0};
  spec.bookmarks = {{0.5, u"a"}, {2.0, u"b"}, {2.0, u"c"}, {7.0, u"d"}};
  spec.triggers = {{1.5, kalTriggerSrcManual, u"t1", 0, 0}, {4.0, kalTriggerSrcExternal, u"t2", 0, 0}};
  return mlr::api::test::MakeMemoryRecording(spec);
}

// The times GetEventTimesFromCollection returns; checks the array's shape.
std::vector<double> Times(IRecording* recording, LONG collection, double start, double end,
                          LONG count, HRESULT expected = S_OK) {
  SAFEARRAY* items = nullptr;
  EXPECT_EQ(GetEventTimesFromCollection(recording, static_cast<kalRecordingCollection>(collection),
                                        start, end, count, &items),
            expected);
  if (!items) return {};
  const mlr::api::test::Contents<double> times = mlr::api::test::Doubles(items);
  SafeArrayDestroy(items);
  EXPECT_EQ(times.vt, VT_R8);
  EXPECT_EQ(times.lowers, std::vector<LONG>{0});
  EXPECT_FALSE(times.values.empty()) << "an empty answer must be a null array";
  return times.values;
}

// The index of the item FindItemFromTimeCollection returns (through
// ITimemark), 0 for none.
LONG Found(IRecording* recording, LONG collection, double time, LONG direction) {
  ComPtr<IUnknown> item;
  EXPECT_EQ(FindItemFromTimeCollection(recording, static_cast<kalRecordingCollection>(collection),
                                       time, direction, item.put()),
            S_OK);
  if (!item) return 0;
  ComPtr<ITimemark> mark;
  EXPECT_EQ(item.As(&mark), S_OK);
  LONG index = -1;
  if (mark) mark->get_Index(&index);
  return index;
}

TEST(FindItemFromTimeCollection, AtAfterAndBefore) {
  ComPtr<IRecording> r = EventRecording();
  EXPECT_EQ(Found(r.get(), kalRecColMarkers, 2.0, 0), 2);
  EXPECT_EQ(Found(r.get(), kalRecColMarkers, 2.0, 1), 3);
  EXPECT_EQ(Found(r.get(), kalRecColMarkers, 2.0, -1), 1);
  EXPECT_EQ(Found(r.get(), kalRecColMarkers, 2.5, 0), 0);
  EXPECT_EQ(Found(r.get(), kalRecColMarkers, 2.5, 1), 3);
  EXPECT_EQ(Found(r.get(), kalRecColMarkers, 2.5, -1), 2);
  EXPECT_EQ(Found(r.get(), kalRecColMarkers, 3.5, -1), 3);
  EXPECT_EQ(Found(r.get(), kalRecColMarkers, 0.5, -1), 0);
  EXPECT_EQ(Found(r.get(), kalRecColMarkers, 0.5, 1), 1);
  // Directions are normalised to -1, 0, 1.
  EXPECT_EQ(Found(r.get(), kalRecColMarkers, 2.5, -7), 2);
  EXPECT_EQ(Found(r.get(), kalRecColMarkers, 2.5, 42), 3);
  // Only items up to the recording's end are searched: the marker at 12
  // lies past the end at 10.
  EXPECT_EQ(Found(r.get(), kalRecColMarkers, 3.5, 1), 0);
  EXPECT_EQ(Found(r.get(), kalRecColMarkers, 11.0, -1), 3);
  // Triggers and bookmarks (which answer ITimemarks too) alike.
  EXPECT_EQ(Found(r.get(), kalRecColTriggers, 1.5, 0), 1);
  EXPECT_EQ(Found(r.get(), kalRecColTriggers, 1.6, 1), 2);
  EXPECT_EQ(Found(r.get(), kalRecColBookmarks, 1.0, -1), 1);
  EXPECT_EQ(Found(r.get(), kalRecColBookmarks, 2.0, 0), 2);
  EXPECT_EQ(Found(r.get(), kalRecColBookmarks, 5.0, 1), 4);
  // Nothing to search.
  EXPECT_EQ(Found(r.get(), kalRecColVoicemarks, 1.0, 0), 0);
  EXPECT_EQ(Found(r.get(), kalRecColPhysicalChannelConfig, 1.0, 0), 0);

  // The listing: void bounds are the recording's start and end (the marker
  // at 12 lies past the end at 10), both bounds are included, Count caps the
  // answer at the first events in range, and nothing found is a null array.
  EXPECT_EQ(Times(r.get(), kalRecColMarkers, kVoid, kVoid, 10), (std::vector<double>{1, 2, 3}));
  EXPECT_EQ(Times(r.get(), kalRecColBookmarks, 0.5, 2.0, 10), (std::vector<double>{0.5, 2, 2}));
  EXPECT_EQ(Times(r.get(), kalRecColMarkers, 1.5, 20.0, 2), (std::vector<double>{2, 3}));
  EXPECT_EQ(Times(r.get(), kalRecColMarkers, kVoid, kVoid, 0x7FFFFFFF).size(), 3u);
  EXPECT_TRUE(Times(r.get(), kalRecColBookmarks, 3.0, 2.0, 10).empty());
  EXPECT_TRUE(Times(r.get(), kalRecColMarkers, kVoid, kVoid, -5).empty());
  EXPECT_TRUE(Times(r.get(), 1, kVoid, kVoid, 10).empty());  // the channel groups
  // No collection at all (no voice marks): Items is left as it was.
  SAFEARRAY* const sentinel = SafeArrayCreateVector(VT_R8, 0, 1);
  SAFEARRAY* items = sentinel;
  EXPECT_EQ(GetEventTimesFromCollection(r.get(), kalRecColVoicemarks, kVoid, kVoid, 5, &items), S_OK);
  EXPECT_EQ(items, sentinel);
  SafeArrayDestroy(sentinel);
}

// --- Fakes ---------------------------------------------------------------

// A time-mark item, or (time-less) a plain object that does not answer
// ITimemark.
class Mark final : public fake::Object<ITimemark, IID_ITimemark> {
 public:
  Mark(LONG index, double time) : index_(index), time_(time) {}
  HRESULT STDMETHODCALLTYPE get_Time(double* v) override { return *v = time_, S_OK; }
  HRESULT STDMETHODCALLTYPE get_Index(LONG* v) override { return *v = index_, S_OK; }

 private:
  LONG index_;
  double time_;
};

class Opaque final : public fake::Object<IDispatch, IID_IDispatch> {};

// Items at 1, 2 (not a time mark) and 3.
class Timemarks final : public fake::Object<ITimemarks, IID_ITimemarks> {
 public:
  HRESULT STDMETHODCALLTYPE get_Item(LONG index, IUnknown** out) override {
    IUnknown* items[] = {&one_, &two_, &three_};
    return Give<IUnknown>(index >= 1 && index <= 3 ? items[index - 1] : nullptr, out);
  }
  HRESULT STDMETHODCALLTYPE get_Parent(IRecording**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE get_Count(LONG* v) override { return *v = 3, S_OK; }
  HRESULT STDMETHODCALLTYPE GetIndicesFromTime(double start, double end, LONG* first,
                                               LONG* last) override {
    *first = *last = -1;
    for (LONG i = 1; i <= 3; ++i) {
      if (start <= i && i <= end) {
        if (*first == -1) *first = i;
        *last = i;
      }
    }
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown**) override { return E_NOTIMPL; }

 private:
  Mark one_{1, 1.0};
  Opaque two_;
  Mark three_{3, 3.0};
};

class Bookmark final : public fake::Object<IBookmark, IID_IBookmark> {
 public:
  explicit Bookmark(double time) : time_(time) {}
  HRESULT STDMETHODCALLTYPE get_Name(BSTR*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE get_Parent(IBookmarks**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE get_Time(double* v) override { return *v = time_, S_OK; }
  HRESULT STDMETHODCALLTYPE Remove() override { return E_NOTIMPL; }
  double time() const { return time_; }

 private:
  double time_;
};

// Bookmarks at 1, 2, 3 that do not answer ITimemarks.
class Bookmarks final : public fake::Object<IBookmarks, IID_IBookmarks> {
 public:
  HRESULT STDMETHODCALLTYPE get_Item(LONG index, IBookmark** out) override {
    return Give<IBookmark>(index >= 1 && index <= 3 ? &items_[index - 1] : nullptr, out);
  }
  HRESULT STDMETHODCALLTYPE get_Parent(IRecording**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE get_Count(LONG* v) override { return *v = 3, S_OK; }
  HRESULT STDMETHODCALLTYPE Add(double, BSTR, IBookmark**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown**) override { return E_NOTIMPL; }
  const Bookmark* item(LONG index) const { return &items_[index - 1]; }

 private:
  Bookmark items_[3] = {Bookmark(1.0), Bookmark(2.0), Bookmark(3.0)};
};

TEST(CollectionSearch, BookmarksWithoutTimemarksAreWalked) {
  fake::Recording recording;
  recording.SetTimes(0.0, 10.0);
  Bookmarks bookmarks;
  recording.SetCollection(&bookmarks);
  EXPECT_EQ(Times(&recording, kalRecColBookmarks, 1.5, kVoid, 10), (std::vector<double>{2, 3}));
  // The walk is for the bookmarks selector only.
  EXPECT_TRUE(Times(&recording, kalRecColMarkers, kVoid, kVoid, 10).empty());

  const struct {
    double time;
    LONG direction;
    LONG index;  // 0: none
  } cases[] = {
      {2.0, 0, 2}, {2.0, 1, 3}, {2.0, -1, 1}, {2.5, 0, 0}, {2.5, 1, 3},
      {2.5, -1, 2}, {0.5, -1, 0}, {3.5, -1, 3}, {3.5, 1, 0}, {3.5, 0, 0},
  };
  for (const auto& c : cases) {
    ComPtr<IUnknown> item;
    EXPECT_EQ(FindItemFromTimeCollection(&recording, kalRecColBookmarks, c.time, c.direction,
                                         item.put()),
              S_OK);
    const IUnknown* want = c.index ? static_cast<const IUnknown*>(bookmarks.item(c.index)) : nullptr;
    EXPECT_EQ(item.get(), want) << c.time << " " << c.direction;
  }
  ComPtr<IUnknown> item;
  EXPECT_EQ(FindItemFromTimeCollection(&recording, kalRecColMarkers, 2.0, 0, item.put()), S_OK);
  EXPECT_EQ(item, nullptr);
  item.reset();
  EXPECT_EQ(recording.Outstanding(), 0);
  EXPECT_EQ(bookmarks.Outstanding(), 0);
}

TEST(CollectionSearch, ItemsWithoutATimemarkAreSkippedOrEndTheSearchAndFailuresAreReturned) {
  fake::Recording recording;
  recording.SetTimes(0.0, 10.0);
  SAFEARRAY* items = nullptr;
  ComPtr<IUnknown> item;
  // Collection not available.
  EXPECT_EQ(GetEventTimesFromCollection(&recording, kalRecColMarkers, 0.0, 1.0, 5, &items),
            E_NOTIMPL);
  EXPECT_EQ(FindItemFromTimeCollection(&recording, kalRecColMarkers, 0.0, 0, item.put()),
            E_NOTIMPL);
  Timemarks marks;
  recording.SetCollection(&marks);
  EXPECT_EQ(Times(&recording, kalRecColMarkers, kVoid, kVoid, 10), (std::vector<double>{1, 3}));
  EXPECT_EQ(Found(&recording, kalRecColMarkers, 1.0, 0), 1);
  EXPECT_EQ(Found(&recording, kalRecColMarkers, 2.0, 0), 0);  // item 2 is no time mark
  EXPECT_EQ(Found(&recording, kalRecColMarkers, 1.5, 1), 0);
  EXPECT_EQ(Found(&recording, kalRecColMarkers, 2.5, 1), 3);
  // Start and end: read only for void bounds by the listing.
  recording.FailTimes(E_ACCESSDENIED);
  EXPECT_EQ(GetEventTimesFromCollection(&recording, kalRecColMarkers, kVoid, 5.0, 5, &items),
            E_ACCESSDENIED);
  EXPECT_EQ(GetEventTimesFromCollection(&recording, kalRecColMarkers, 0.0, kVoid, 5, &items),
            E_ACCESSDENIED);
  EXPECT_EQ(Times(&recording, kalRecColMarkers, 0.0, 5.0, 5), (std::vector<double>{1, 3}));
  EXPECT_EQ(FindItemFromTimeCollection(&recording, kalRecColMarkers, 0.0, 0, item.put()),
            E_ACCESSDENIED);
  EXPECT_EQ(item, nullptr);
  // Null pointers.
  EXPECT_EQ(GetEventTimesFromCollection(nullptr, kalRecColMarkers, 0.0, 1.0, 5, &items), E_POINTER);
  EXPECT_EQ(GetEventTimesFromCollection(&recording, kalRecColMarkers, 0.0, 1.0, 5, nullptr),
            E_POINTER);
  EXPECT_EQ(FindItemFromTimeCollection(nullptr, kalRecColMarkers, 0.0, 0, item.put()), E_POINTER);
  EXPECT_EQ(FindItemFromTimeCollection(&recording, kalRecColMarkers, 0.0, 0, nullptr), E_POINTER);
  EXPECT_EQ(recording.Outstanding(), 0);
  EXPECT_EQ(marks.Outstanding(), 0);
}

}  // namespace
