// Event collections: ordered insertion with equal times (and the markers'
// refusal rule), GetIndicesFromTime, the item objects, and which dispatch
// table a collection answers through.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "model/time_ordered_array.h"
#include "model_test_util.h"
#include "tests/platform/test_objects.h"

namespace mlr::model::testing {
namespace {

struct Named {
  double time;
  int id;
};

std::vector<int> Ids(const TimeOrderedArray<Named>& array) {
  std::vector<int> ids;
  for (LONG i = 0; i < array.size(); ++i) ids.push_back(array.at(i).id);
  return ids;
}

// Eleven records 0, 1, 2, 3, 4, 5, 5, 7, 8, 9, 10: the bisection (taken from
// ten records on) narrows to [0, 5], so the final scan stops in front of the
// second 5.
TimeOrderedArray<Named> ElevenWithTwinFives() {
  TimeOrderedArray<Named> array;
  const double times[] = {0, 1, 2, 3, 4, 5, 5, 7, 8, 9, 10};
  int id = 0;
  for (double t : times) array.Insert({t, id++}, false);
  return array;
}

TEST(ModelTimemarks, BisectionPathLandsBetweenEqualTimes) {
  TimeOrderedArray<Named> array = ElevenWithTwinFives();
  EXPECT_EQ(6, array.Insert({5.0, 100}, false));
  EXPECT_EQ((std::vector<int>{0, 1, 2, 3, 4, 5, 100, 6, 7, 8, 9, 10}), Ids(array));
  // The markers' equality test refuses the same insertion: the record at the
  // insertion point has the same time.
  TimeOrderedArray<Named> markers = ElevenWithTwinFives();
  EXPECT_EQ(-1, markers.Insert({5.0, 100}, true));
  EXPECT_EQ(11, markers.size());
  // ... but an ordinary repeat is accepted after its twin.
  EXPECT_EQ(9, markers.Insert({8.0, 101}, true));
  EXPECT_EQ(101, markers.at(9).id);
  EXPECT_EQ(8, markers.at(8).id);
}

TEST(ModelTimemarks, GetIndicesFromTimeOnEveryEventCollection) {
  MemoryRecordingSpec spec;
  spec.markers = {1.0, 2.0, 3.0};
  spec.bookmarks = {{1.0, u"a"}, {2.0, u"b"}, {3.0, u"c"}};
  spec.triggers = {{1.0, kalTriggerSrcUnknown, u"", 0, 0},
                   {2.0, kalTriggerSrcUnknown, u"", 0, 0},
                   {3.0, kalTriggerSrcUnknown, u"", 0, 0}};
  ComPtr<IRecording> filled = MakeRecording(spec);
  ComPtr<IRecording> empty = MakeRecording(MemoryRecordingSpec{});
  for (LONG type : {kalRecColMarkers, kalRecColBookmarks, kalRecColTriggers}) {
    SCOPED_TRACE(type);
    auto marks = QueryAs<ITimemarks>(CollectionOf(filled.get(), type).get(), IID_ITimemarks);
    ASSERT_TRUE(marks);
    struct Case {
      double start, end;
      LONG first, last;
    };
    for (const Case& c : {Case{1.5, 2.5, 2, 2}, Case{2.1, 2.9, -1, -1}, Case{0.0, 10.0, 1, 3},
                          Case{1.0, 1.0, 1, 1}, Case{3.0, 3.0, 3, 3}, Case{3.5, 9.0, -1, -1},
                          Case{2.5, 1.0, -1, -1}}) {
      LONG first = 0;
      LONG last = 0;
      EXPECT_EQ(S_OK, marks->GetIndicesFromTime(c.start, c.end, &first, &last));
      EXPECT_EQ(c.first, first) << c.start << ".." << c.end;
      EXPECT_EQ(c.last, last) << c.start << ".." << c.end;
    }
    LONG first = 0;
    EXPECT_EQ(E_POINTER, marks->GetIndicesFromTime(0.0, 1.0, &first, nullptr));
    auto none = QueryAs<ITimemarks>(CollectionOf(empty.get(), type).get(), IID_ITimemarks);
    LONG last = 0;
    EXPECT_EQ(S_OK, none->GetIndicesFromTime(0.0, 10.0, &first, &last));
    EXPECT_EQ(-1, first);
    EXPECT_EQ(-1, last);
  }
}

TEST(ModelTimemarks, BookmarksAddRemoveAndItems) {
  ComPtr<IRecording> recording = MakeRecording(MemoryRecordingSpec{});
  auto bookmarks = CollectionAs<IBookmarks>(recording.get(), kalRecColBookmarks);
  ASSERT_TRUE(bookmarks);
  Bstr text(u"first");
  ComPtr<IBookmark> added;
  ASSERT_EQ(S_OK, bookmarks->Add(4.0, text.get(), added.put()));
  // Two bookmarks at the same time: the second is returned at index 2; its
  // ITimemark face shares the bookmark's identity.
  ComPtr<IBookmark> again;
  ASSERT_EQ(S_OK, bookmarks->Add(4.0, text.get(), again.put()));
  ComPtr<ITimemark> mark = QueryAs<ITimemark>(again.get(), IID_ITimemark);
  ASSERT_TRUE(mark);
  EXPECT_EQ(2, Get(mark.get(), &ITimemark::get_Index));
  EXPECT_DOUBLE_EQ(4.0, Get(mark.get(), &ITimemark::get_Time));
  EXPECT_EQ(Identity(mark.get()), Identity(again.get()));

  // A null out pointer still adds the bookmark, then answers E_POINTER.
  EXPECT_EQ(E_POINTER, bookmarks->Add(1.0, text.get(), nullptr));
  EXPECT_EQ(3, Get(bookmarks.get(), &IBookmarks::get_Count));

  // Late bound, the collection answers through the table of the interface it
  // was asked for: identifier 3 is GetIndicesFromTime through ITimemarks
  // (through IBookmarks it would be Add, and the count below would grow).
  LONG from = 0;
  LONG to = 0;
  VARIANT args[] = {RefI4(&to), RefI4(&from), R8(2.0), R8(0.0)};
  DISPPARAMS params = {args, nullptr, 4, 0};
  Variant none;
  ASSERT_EQ(S_OK, QueryAs<ITimemarks>(bookmarks.get(), IID_ITimemarks)
                      ->Invoke(3, IID_NULL, 0, DISPATCH_METHOD, &params, none.put(), nullptr,
                               nullptr));
  EXPECT_EQ(1, from);
  EXPECT_EQ(1, to);
  ComPtr<IBookmark> first = At(bookmarks.get(), 1);
  EXPECT_DOUBLE_EQ(1.0, Get(first.get(), &IBookmark::get_Time));
  EXPECT_EQ(E_NOTIMPL, first->Remove());
  EXPECT_EQ(3, Get(bookmarks.get(), &IBookmarks::get_Count));
  EXPECT_EQ(u"first", Text(first.get(), &IBookmark::get_Name));
  EXPECT_EQ(Identity(bookmarks.get()), Identity(Child(first.get(), &IBookmark::get_Parent).get()));
}

TEST(ModelTimemarks, TriggerItemsAreSnapshotsWithTheirChannel) {
  MemoryRecordingSpec spec;
  spec.groups.push_back(MakeGroup(2, {{0.0, 1.0, 3}}));
  spec.triggers = {{2.0, kalTriggerSrcChannel, u"on Ch2", 1, 2},
                   {1.0, kalTriggerSrcManual, u"manual"},
                   {2.0, kalTriggerSrcExternal, u"later twin"}};
  ComPtr<IRecording> recording = MakeRecording(spec);
  auto triggers = CollectionAs<ITriggerInfos>(recording.get(), kalRecColTriggers);
  // In time order, twins as given; only the channel trigger leads to a channel.
  const std::pair<std::u16string, LONG> expected[] = {
      {u"manual", 0}, {u"on Ch2", 2}, {u"later twin", 0}};
  for (LONG i = 1; i <= 3; ++i) {
    ComPtr<ITriggerInfo> trigger = QueryAs<ITriggerInfo>(At(triggers.get(), i).get(), IID_ITriggerInfo);
    ASSERT_TRUE(trigger);
    EXPECT_EQ(expected[i - 1].first, Text(trigger.get(), &ITriggerInfo::get_Name));
    ComPtr<IChannelInfo> channel = Child(trigger.get(), &ITriggerInfo::get_ChannelInfo);
    EXPECT_EQ(expected[i - 1].second, channel ? Get(channel.get(), &IChannelInfo::get_Index) : 0);
    EXPECT_EQ(Identity(triggers.get()),
              Identity(Child(trigger.get(), &ITriggerInfo::get_Parent).get()));
  }
}

}  // namespace
}  // namespace mlr::model::testing
