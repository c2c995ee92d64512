// The collection pattern: 1-based Item with its out-of-range rules (markers
// differ), Count, Parent, and the enumerators' snapshot and edge cases.
#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "model_test_util.h"

namespace mlr::model::testing {
namespace {

MemoryRecordingSpec TwoOfEverything() {
  MemoryRecordingSpec spec;
  spec.groups.push_back(MakeGroup(2, {{0.0, 1.0, 5}, {10.0, 1.0, 5}}));
  spec.groups.push_back(MakeGroup(2, {{0.0, 1.0, 5}}));
  spec.groups[0].channels[0].vnorms.push_back({1.0, 2.0, 3.0});
  spec.triggers = {{1.0, kalTriggerSrcManual, u"t1"}, {2.0, kalTriggerSrcExternal, u"t2"}};
  spec.markers = {1.0, 2.0};
  spec.bookmarks = {{1.0, u"b1"}, {2.0, u"b2"}};
  spec.has_physical_channels = true;
  spec.physical_channels = {{1, 1, 1, 1, {u"P1"}}, {1, 2, 1, 2, {u"P2"}}};
  spec.display_pages = {{{1}, {2}}, {{3}, {4}}};
  return spec;
}

// A collection seen through its typed Item (as IUnknown) and Count.
struct CollectionCase {
  const char* name;
  std::function<HRESULT(LONG, IUnknown**)> item;
  std::function<HRESULT(LONG*)> count;
  HRESULT out_of_range;
};

template <class C, class I>
CollectionCase Entry(const char* name, C* collection, HRESULT out_of_range = S_OK) {
  return {name,
          [collection](LONG index, IUnknown** out) {
            I* item = nullptr;
            HRESULT hr = collection->get_Item(index, &item);
            *out = item;
            return hr;
          },
          [collection](LONG* n) { return collection->get_Count(n); }, out_of_range};
}

TEST(ModelCollections, ItemOutOfRangeRulesOfEveryCollection) {
  ComPtr<IRecording> recording = MakeRecording(TwoOfEverything());
  ASSERT_TRUE(recording);
  auto groups = Child(recording.get(), &IRecording::get_ChannelGroups);
  auto triggers = CollectionAs<ITriggerInfos>(recording.get(), kalRecColTriggers);
  auto markers = CollectionAs<IMarkers>(recording.get(), kalRecColMarkers);
  auto bookmarks = CollectionAs<IBookmarks>(recording.get(), kalRecColBookmarks);
  auto bookmark_marks = QueryAs<ITimemarks>(bookmarks.get(), IID_ITimemarks);
  ASSERT_TRUE(triggers && markers && bookmarks && bookmark_marks);

  // The groups stand for every collection of stored items (channels,
  // normsets, physical channels, display pages: one shared Item); the event
  // collections each have their own.
  const CollectionCase cases[] = {
      Entry<IChannelGroups, IChannelGroup>("groups", groups.get()),
      Entry<ITriggerInfos, IUnknown>("triggers", triggers.get()),
      Entry<IMarkers, IUnknown>("markers", markers.get(), E_INVALIDARG),
      Entry<IBookmarks, IBookmark>("bookmarks", bookmarks.get()),
      Entry<ITimemarks, IUnknown>("bookmarks as timemarks", bookmark_marks.get()),
  };
  for (const CollectionCase& c : cases) {
    SCOPED_TRACE(c.name);
    LONG count = 0;
    ASSERT_EQ(S_OK, c.count(&count));
    ASSERT_EQ(2, count);
    EXPECT_EQ(E_POINTER, c.count(nullptr));
    for (LONG index : {LONG{0}, LONG{-1}, count + 1, LONG{0x7FFFFFFF}}) {
      IUnknown* item = reinterpret_cast<IUnknown*>(0x1);  // must be overwritten
      EXPECT_EQ(c.out_of_range, c.item(index, &item)) << "index " << index;
      EXPECT_EQ(nullptr, item) << "index " << index;
    }
    for (LONG index = 1; index <= count; ++index) {
      IUnknown* item = nullptr;
      EXPECT_EQ(S_OK, c.item(index, &item));
      ASSERT_NE(nullptr, item);
      item->Release();
    }
  }
  // A null out pointer is refused before anything else.
  EXPECT_EQ(E_POINTER, groups->get_Item(1, nullptr));
  EXPECT_EQ(E_POINTER, markers->get_Item(0, nullptr));
}

TEST(ModelCollections, ParentsLeadToTheOwners) {
  ComPtr<IRecording> recording = MakeRecording(TwoOfEverything());
  ComPtr<IUnknown> root = Identity(recording.get());
  auto groups = Child(recording.get(), &IRecording::get_ChannelGroups);
  EXPECT_EQ(root, Identity(Child(groups.get(), &IChannelGroups::get_Parent).get()));
  ComPtr<IChannelGroup> group = Group(recording.get(), 2);
  EXPECT_EQ(Identity(groups.get()), Identity(Child(group.get(), &IChannelGroup::get_Parent).get()));
  EXPECT_EQ(2, Get(group.get(), &IChannelGroup::get_Index));
  ComPtr<IHNorms> hnorms = HNorms(recording.get(), 2);
  EXPECT_EQ(Identity(group.get()), Identity(Child(hnorms.get(), &IHNorms::get_Parent).get()));
  EXPECT_EQ(Identity(hnorms.get()),
            Identity(Child(At(hnorms.get(), 1).get(), &IHNorm::get_Parent).get()));
  auto channels = Child(Channel(recording.get(), 2, 2).get(), &IChannelInfo::get_Parent);
  EXPECT_EQ(Identity(group.get()), Identity(Child(channels.get(), &IChannelInfos::get_Parent).get()));

  for (LONG type : {kalRecColTriggers, kalRecColMarkers, kalRecColBookmarks,
                    kalRecColPhysicalChannelConfig}) {
    ComPtr<IUnknown> collection = CollectionOf(recording.get(), type);
    ComPtr<ITimemarks> marks = QueryAs<ITimemarks>(collection.get(), IID_ITimemarks);
    ComPtr<IRecording> owner =
        marks ? Child(marks.get(), &ITimemarks::get_Parent)
              : Child(CollectionAs<IPhysicalChannels>(recording.get(), type).get(),
                      &IPhysicalChannels::get_Parent);
    EXPECT_EQ(root, Identity(owner.get())) << "collection " << type;
    // The same collection object is answered on every request.
    EXPECT_EQ(Identity(collection.get()), CollectionOf(recording.get(), type));
  }
}

TEST(ModelCollections, InterfacesAndErrorInfoSupport) {
  ComPtr<IRecording> recording = MakeRecording(TwoOfEverything());
  IRecording* r = recording.get();
  auto item = [&](LONG type) {
    return Identity(At(CollectionAs<ITimemarks>(r, type).get(), 1).get());
  };
  const struct {
    const char* name;
    ComPtr<IUnknown> object;
    const IID* own;
  } objects[] = {
      {"recording", Identity(r), &IID_IRecording},
      {"groups", Identity(Child(r, &IRecording::get_ChannelGroups).get()), &IID_IChannelGroups},
      {"group", Identity(Group(r, 1).get()), &IID_IChannelGroup},
      {"channel", Identity(Channel(r, 1, 1).get()), &IID_IChannelInfo},
      {"hnorms", Identity(HNorms(r, 1).get()), &IID_IHNorms},
      {"hnorm", Identity(At(HNorms(r, 1).get(), 1).get()), &IID_IHNorm},
      {"vnorms", Identity(VNorms(r, 1, 1).get()), &IID_IVNorms},
      {"vnorm", Identity(At(VNorms(r, 1, 1).get(), 1).get()), &IID_IVNorm},
      {"triggers", CollectionOf(r, kalRecColTriggers), &IID_ITriggerInfos},
      {"trigger", item(kalRecColTriggers), &IID_ITriggerInfo},
      {"markers", CollectionOf(r, kalRecColMarkers), &IID_IMarkers},
      {"marker", item(kalRecColMarkers), &IID_IMarker},
      {"bookmarks", CollectionOf(r, kalRecColBookmarks), &IID_IBookmarks},
      {"bookmark", item(kalRecColBookmarks), &IID_IBookmark},
  };
  for (const auto& o : objects) {
    SCOPED_TRACE(o.name);
    ASSERT_TRUE(o.object);
    ComPtr<ISupportErrorInfo> support =
        QueryAs<ISupportErrorInfo>(o.object.get(), IID_ISupportErrorInfo);
    ASSERT_TRUE(support);
    EXPECT_EQ(S_OK, support->InterfaceSupportsErrorInfo(*o.own));
    EXPECT_EQ(S_FALSE, support->InterfaceSupportsErrorInfo(IID_IDispatch));
    // Every interface answered leads back to the same identity.
    ComPtr<IUnknown> own = QueryAs<IUnknown>(o.object.get(), *o.own);
    ASSERT_TRUE(own);
    EXPECT_EQ(o.object, Identity(own.get()));
    EXPECT_EQ(o.object, Identity(support.get()));
    EXPECT_TRUE(QueryAs<IDispatch>(o.object.get(), IID_IDispatch));
    void* none = reinterpret_cast<void*>(0x1);
    EXPECT_EQ(E_NOINTERFACE, o.object->QueryInterface(IID_IStream, &none));
    EXPECT_EQ(nullptr, none);
  }
}

// --- Enumerators -------------------------------------------------------------

template <class C>
ComPtr<IEnumVARIANT> EnumOf(C* collection) {
  return QueryAs<IEnumVARIANT>(Child(collection, &C::get__NewEnum).get(), IID_IEnumVARIANT);
}

// Takes the elements fetched into v (group indices, or for markers and
// bookmarks what `read` makes of them) and clears them.
template <class I = IChannelGroup, class F>
std::vector<F> Take(VARIANT* v, ULONG fetched, F (*read)(I*)) {
  std::vector<F> out;
  for (ULONG i = 0; i < fetched; ++i) {
    EXPECT_EQ(VT_DISPATCH, v[i].vt);
    ComPtr<I> element = QueryAs<I>(v[i].pdispVal, IidOf<I>());
    out.push_back(element ? read(element.get()) : F{});
    VariantClear(&v[i]);
  }
  return out;
}
LONG GroupIndex(IChannelGroup* group) { return Get(group, &IChannelGroup::get_Index); }
LONG HNormLength(IHNorm* hnorm) { return Get(hnorm, &IHNorm::get_Length); }

TEST(ModelEnumerators, NextSkipResetCloneEdgeCases) {
  MemoryRecordingSpec spec;
  for (int i = 0; i < 5; ++i) spec.groups.push_back(MakeGroup(1, {{0.0, 1.0, 2}}));
  ComPtr<IRecording> recording = MakeRecording(spec);
  ComPtr<IEnumVARIANT> e = EnumOf(Child(recording.get(), &IRecording::get_ChannelGroups).get());
  ASSERT_TRUE(e);

  VARIANT v[4];
  for (VARIANT& x : v) VariantInit(&x);
  ULONG fetched = 99;
  EXPECT_EQ(E_INVALIDARG, e->Next(0, v, &fetched));
  EXPECT_EQ(0u, fetched);
  EXPECT_EQ(E_POINTER, e->Next(1, nullptr, &fetched));
  EXPECT_EQ(E_POINTER, e->Next(2, v, nullptr));
  // celt 1 without a count is allowed.
  ASSERT_EQ(S_OK, e->Next(1, v, nullptr));
  EXPECT_EQ(std::vector<LONG>{1}, Take(v, 1, &GroupIndex));

  EXPECT_EQ(E_INVALIDARG, e->Skip(0));
  EXPECT_EQ(S_OK, e->Skip(1));  // now at element 3
  ComPtr<IEnumVARIANT> clone;
  ASSERT_EQ(S_OK, e->Clone(clone.put()));
  EXPECT_EQ(E_POINTER, e->Clone(nullptr));

  // Asking for more than remain: the rest, S_FALSE.
  ASSERT_EQ(S_FALSE, e->Next(4, v, &fetched));
  EXPECT_EQ((std::vector<LONG>{3, 4, 5}), Take(v, fetched, &GroupIndex));
  EXPECT_EQ(S_FALSE, e->Next(1, v, &fetched));
  EXPECT_EQ(0u, fetched);
  EXPECT_EQ(S_FALSE, e->Skip(1));

  // The clone kept its own position (element 3).
  ASSERT_EQ(S_OK, clone->Next(1, v, &fetched));
  EXPECT_EQ(std::vector<LONG>{3}, Take(v, fetched, &GroupIndex));
  EXPECT_EQ(S_FALSE, clone->Skip(10));

  ASSERT_EQ(S_OK, e->Reset());
  ASSERT_EQ(S_OK, e->Next(2, v, &fetched));
  EXPECT_EQ((std::vector<LONG>{1, 2}), Take(v, fetched, &GroupIndex));

  // Normsets enumerate as normsets.
  ASSERT_EQ(S_FALSE, EnumOf(HNorms(recording.get(), 1).get())->Next(2, v, &fetched));
  EXPECT_EQ(std::vector<LONG>{2}, Take(v, fetched, &HNormLength));
}

double MarkerTime(IMarker* marker) { return Get(marker, &IMarker::get_Time); }
std::u16string BookmarkName(IBookmark* bookmark) { return Text(bookmark, &IBookmark::get_Name); }

TEST(ModelEnumerators, SnapshotTakenAtCreationAndElementsOfTheirOwnKind) {
  MemoryRecordingSpec spec;
  spec.markers = {1.0, 3.0};
  spec.bookmarks = {{2.0, u"second"}, {1.0, u"first"}};
  ComPtr<IRecording> recording = MakeRecording(spec);
  auto markers = CollectionAs<IMarkers>(recording.get(), kalRecColMarkers);
  ComPtr<IEnumVARIANT> before = EnumOf(markers.get());
  ASSERT_EQ(S_OK, markers->Add(2.0));

  VARIANT v[4];
  for (VARIANT& x : v) VariantInit(&x);
  ULONG fetched = 0;
  ASSERT_EQ(S_FALSE, before->Next(4, v, &fetched));
  // Marker items read their time at their index: the snapshot holds items
  // 1 and 2, and item 2 now reads the inserted 2.0.
  EXPECT_EQ((std::vector<double>{1.0, 2.0}), Take(v, fetched, &MarkerTime));
  ASSERT_EQ(S_FALSE, EnumOf(markers.get())->Next(4, v, &fetched));
  EXPECT_EQ(3u, Take(v, fetched, &MarkerTime).size());

  // Bookmarks enumerate as bookmarks, in time order.
  auto bookmarks = CollectionAs<IBookmarks>(recording.get(), kalRecColBookmarks);
  ASSERT_EQ(S_OK, EnumOf(bookmarks.get())->Next(2, v, &fetched));
  EXPECT_EQ((std::vector<std::u16string>{u"first", u"second"}), Take(v, fetched, &BookmarkName));
}

}  // namespace
}  // namespace mlr::model::testing
