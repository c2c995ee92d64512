// The collection pattern: 1-based Item with its out-of-range rules (markers
// differ), Count, Parent, and the enumerators' snapshot and edge cases.
#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "model/com_enum.h"
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

// Item(index) through a typed Item member, as IUnknown.
using ItemFn = std::function<HRESULT(LONG, IUnknown**)>;

struct CollectionCase {
  const char* name;
  ItemFn item;
  std::function<HRESULT(LONG*)> count;
  HRESULT out_of_range;
};

template <class C, class I>
ItemFn TypedItem(C* collection) {
  return [collection](LONG index, IUnknown** out) {
    I* item = nullptr;
    HRESULT hr = collection->get_Item(index, &item);
    *out = item;
    return hr;
  };
}

TEST(ModelCollections, ItemOutOfRangeRulesOfEveryCollection) {
  ComPtr<IRecording> recording = MakeRecording(TwoOfEverything());
  ASSERT_TRUE(recording);
  ComPtr<IChannelGroups> groups;
  ASSERT_EQ(S_OK, recording->get_ChannelGroups(groups.put()));
  ComPtr<IChannelInfos> channels;
  ASSERT_EQ(S_OK, Group(recording.get(), 1)->get_ChannelInfos(channels.put()));
  ComPtr<IHNorms> hnorms = HNorms(recording.get(), 1);
  ComPtr<IVNorms> vnorms = VNorms(recording.get(), 1, 1);
  auto triggers = QueryAs<ITriggerInfos>(CollectionOf(recording.get(), kalRecColTriggers).get(),
                                         IID_ITriggerInfos);
  auto markers =
      QueryAs<IMarkers>(CollectionOf(recording.get(), kalRecColMarkers).get(), IID_IMarkers);
  auto bookmarks =
      QueryAs<IBookmarks>(CollectionOf(recording.get(), kalRecColBookmarks).get(), IID_IBookmarks);
  auto bookmark_marks = QueryAs<ITimemarks>(bookmarks.get(), IID_ITimemarks);
  auto physical = QueryAs<IPhysicalChannels>(
      CollectionOf(recording.get(), kalRecColPhysicalChannelConfig).get(), IID_IPhysicalChannels);
  auto pages = QueryAs<IDisplayPages>(CollectionOf(recording.get(), kalRecColDisplayPages).get(),
                                      IID_IDisplayPages);
  ASSERT_TRUE(triggers && markers && bookmarks && bookmark_marks && physical && pages);

  const std::vector<CollectionCase> cases = {
      {"groups", TypedItem<IChannelGroups, IChannelGroup>(groups.get()),
       [&](LONG* n) { return groups->get_Count(n); }, S_OK},
      {"channels", TypedItem<IChannelInfos, IChannelInfo>(channels.get()),
       [&](LONG* n) { return channels->get_Count(n); }, S_OK},
      {"hnorms", TypedItem<IHNorms, IHNorm>(hnorms.get()),
       [&](LONG* n) { return hnorms->get_Count(n); }, S_OK},
      {"vnorms", TypedItem<IVNorms, IVNorm>(vnorms.get()),
       [&](LONG* n) { return vnorms->get_Count(n); }, S_OK},
      {"triggers", TypedItem<ITriggerInfos, IUnknown>(triggers.get()),
       [&](LONG* n) { return triggers->get_Count(n); }, S_OK},
      {"markers", TypedItem<IMarkers, IUnknown>(markers.get()),
       [&](LONG* n) { return markers->get_Count(n); }, E_INVALIDARG},
      {"bookmarks", TypedItem<IBookmarks, IBookmark>(bookmarks.get()),
       [&](LONG* n) { return bookmarks->get_Count(n); }, S_OK},
      {"bookmarks as timemarks", TypedItem<ITimemarks, IUnknown>(bookmark_marks.get()),
       [&](LONG* n) { return bookmark_marks->get_Count(n); }, S_OK},
      {"physical channels", TypedItem<IPhysicalChannels, IPhysicalChannel>(physical.get()),
       [&](LONG* n) { return physical->get_Count(n); }, S_OK},
      {"display pages", TypedItem<IDisplayPages, IDisplayPage>(pages.get()),
       [&](LONG* n) { return pages->get_Count(n); }, S_OK},
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
  EXPECT_EQ(E_POINTER, pages->get_Item(1, nullptr));
}

TEST(ModelCollections, ParentsLeadToTheOwners) {
  ComPtr<IRecording> recording = MakeRecording(TwoOfEverything());
  auto identity = [](IUnknown* object) { return QueryAs<IUnknown>(object, IID_IUnknown); };
  ComPtr<IUnknown> root = identity(recording.get());

  ComPtr<IChannelGroups> groups;
  ASSERT_EQ(S_OK, recording->get_ChannelGroups(groups.put()));
  ComPtr<IRecording> parent;
  ASSERT_EQ(S_OK, groups->get_Parent(parent.put()));
  EXPECT_EQ(root, identity(parent.get()));

  ComPtr<IChannelGroup> group = Group(recording.get(), 2);
  ComPtr<IChannelGroups> group_parent;
  ASSERT_EQ(S_OK, group->get_Parent(group_parent.put()));
  EXPECT_EQ(identity(groups.get()), identity(group_parent.get()));
  LONG index = 0;
  EXPECT_EQ(S_OK, group->get_Index(&index));
  EXPECT_EQ(2, index);

  ComPtr<IHNorms> hnorms = HNorms(recording.get(), 2);
  ComPtr<IChannelGroup> hnorms_parent;
  ASSERT_EQ(S_OK, hnorms->get_Parent(hnorms_parent.put()));
  EXPECT_EQ(identity(group.get()), identity(hnorms_parent.get()));
  ComPtr<IHNorm> hnorm;
  ASSERT_EQ(S_OK, hnorms->get_Item(1, hnorm.put()));
  ComPtr<IHNorms> hnorm_parent;
  ASSERT_EQ(S_OK, hnorm->get_Parent(hnorm_parent.put()));
  EXPECT_EQ(identity(hnorms.get()), identity(hnorm_parent.get()));

  ComPtr<IChannelInfo> channel = Channel(recording.get(), 2, 2);
  ComPtr<IChannelInfos> channel_parent;
  ASSERT_EQ(S_OK, channel->get_Parent(channel_parent.put()));
  ComPtr<IChannelGroup> channels_owner;
  ASSERT_EQ(S_OK, channel_parent->get_Parent(channels_owner.put()));
  EXPECT_EQ(identity(group.get()), identity(channels_owner.get()));

  for (LONG type : {kalRecColTriggers, kalRecColMarkers, kalRecColBookmarks,
                    kalRecColPhysicalChannelConfig}) {
    ComPtr<IUnknown> collection = CollectionOf(recording.get(), type);
    ComPtr<ITimemarks> marks = QueryAs<ITimemarks>(collection.get(), IID_ITimemarks);
    ComPtr<IPhysicalChannels> physical =
        QueryAs<IPhysicalChannels>(collection.get(), IID_IPhysicalChannels);
    ComPtr<IRecording> owner;
    if (marks) {
      ASSERT_EQ(S_OK, marks->get_Parent(owner.put()));
    } else {
      ASSERT_TRUE(physical);
      ASSERT_EQ(S_OK, physical->get_Parent(owner.put()));
    }
    EXPECT_EQ(root, identity(owner.get())) << "collection " << type;
    // The same collection object is answered on every request.
    EXPECT_EQ(identity(collection.get()), identity(CollectionOf(recording.get(), type).get()));
  }
}

TEST(ModelCollections, InterfacesAndErrorInfoSupport) {
  ComPtr<IRecording> recording = MakeRecording(TwoOfEverything());
  struct Object {
    const char* name;
    ComPtr<IUnknown> object;
    const IID* own;
  };
  ComPtr<IChannelGroups> groups;
  recording->get_ChannelGroups(groups.put());
  ComPtr<IHNorm> hnorm;
  HNorms(recording.get(), 1)->get_Item(1, hnorm.put());
  ComPtr<IVNorm> vnorm;
  VNorms(recording.get(), 1, 1)->get_Item(1, vnorm.put());
  auto item = [&](LONG type) {
    ComPtr<ITimemarks> marks =
        QueryAs<ITimemarks>(CollectionOf(recording.get(), type).get(), IID_ITimemarks);
    ComPtr<IUnknown> result;
    marks->get_Item(1, result.put());
    return result;
  };
  const std::vector<Object> objects = {
      {"recording", QueryAs<IUnknown>(recording.get(), IID_IUnknown), &IID_IRecording},
      {"groups", QueryAs<IUnknown>(groups.get(), IID_IUnknown), &IID_IChannelGroups},
      {"group", QueryAs<IUnknown>(Group(recording.get(), 1).get(), IID_IUnknown), &IID_IChannelGroup},
      {"channel", QueryAs<IUnknown>(Channel(recording.get(), 1, 1).get(), IID_IUnknown),
       &IID_IChannelInfo},
      {"hnorms", QueryAs<IUnknown>(HNorms(recording.get(), 1).get(), IID_IUnknown), &IID_IHNorms},
      {"hnorm", QueryAs<IUnknown>(hnorm.get(), IID_IUnknown), &IID_IHNorm},
      {"vnorms", QueryAs<IUnknown>(VNorms(recording.get(), 1, 1).get(), IID_IUnknown), &IID_IVNorms},
      {"vnorm", QueryAs<IUnknown>(vnorm.get(), IID_IUnknown), &IID_IVNorm},
      {"triggers", CollectionOf(recording.get(), kalRecColTriggers), &IID_ITriggerInfos},
      {"trigger", item(kalRecColTriggers), &IID_ITriggerInfo},
      {"markers", CollectionOf(recording.get(), kalRecColMarkers), &IID_IMarkers},
      {"marker", item(kalRecColMarkers), &IID_IMarker},
      {"bookmarks", CollectionOf(recording.get(), kalRecColBookmarks), &IID_IBookmarks},
      {"bookmark", item(kalRecColBookmarks), &IID_IBookmark},
  };
  for (const Object& o : objects) {
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
    EXPECT_EQ(o.object, QueryAs<IUnknown>(own.get(), IID_IUnknown));
    EXPECT_EQ(o.object, QueryAs<IUnknown>(support.get(), IID_IUnknown));
    EXPECT_TRUE(QueryAs<IDispatch>(o.object.get(), IID_IDispatch));
    void* none = reinterpret_cast<void*>(0x1);
    EXPECT_EQ(E_NOINTERFACE, o.object->QueryInterface(IID_IStream, &none));
    EXPECT_EQ(nullptr, none);
  }
}

// --- Enumerators -------------------------------------------------------------

ComPtr<IEnumVARIANT> EnumOf(IUnknown* unknown) {
  return QueryAs<IEnumVARIANT>(unknown, IID_IEnumVARIANT);
}

LONG IndexOfElement(const VARIANT& v) {
  EXPECT_EQ(VT_DISPATCH, v.vt);
  ComPtr<IChannelGroup> group = QueryAs<IChannelGroup>(v.pdispVal, IID_IChannelGroup);
  LONG index = 0;
  if (group) group->get_Index(&index);
  return index;
}

TEST(ModelEnumerators, NextSkipResetCloneEdgeCases) {
  MemoryRecordingSpec spec;
  for (int i = 0; i < 5; ++i) spec.groups.push_back(MakeGroup(1, {{0.0, 1.0, 2}}));
  ComPtr<IRecording> recording = MakeRecording(spec);
  ComPtr<IChannelGroups> groups;
  ASSERT_EQ(S_OK, recording->get_ChannelGroups(groups.put()));
  ComPtr<IUnknown> unknown;
  ASSERT_EQ(S_OK, groups->get__NewEnum(unknown.put()));
  ComPtr<IEnumVARIANT> e = EnumOf(unknown.get());
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
  EXPECT_EQ(1, IndexOfElement(v[0]));
  VariantClear(&v[0]);

  EXPECT_EQ(E_INVALIDARG, e->Skip(0));
  EXPECT_EQ(S_OK, e->Skip(1));  // now at element 3

  ComPtr<IEnumVARIANT> clone;
  ASSERT_EQ(S_OK, e->Clone(clone.put()));
  EXPECT_EQ(E_POINTER, e->Clone(nullptr));

  // Asking for more than remain: the rest, S_FALSE.
  ASSERT_EQ(S_FALSE, e->Next(4, v, &fetched));
  ASSERT_EQ(3u, fetched);
  EXPECT_EQ(3, IndexOfElement(v[0]));
  EXPECT_EQ(5, IndexOfElement(v[2]));
  for (VARIANT& x : v) VariantClear(&x);
  EXPECT_EQ(S_FALSE, e->Next(1, v, &fetched));
  EXPECT_EQ(0u, fetched);
  EXPECT_EQ(S_FALSE, e->Skip(1));

  // The clone kept its own position (element 3).
  ASSERT_EQ(S_OK, clone->Next(1, v, &fetched));
  EXPECT_EQ(3, IndexOfElement(v[0]));
  VariantClear(&v[0]);
  EXPECT_EQ(S_FALSE, clone->Skip(10));

  ASSERT_EQ(S_OK, e->Reset());
  ASSERT_EQ(S_OK, e->Next(2, v, &fetched));
  EXPECT_EQ(2u, fetched);
  EXPECT_EQ(1, IndexOfElement(v[0]));
  EXPECT_EQ(2, IndexOfElement(v[1]));
  for (VARIANT& x : v) VariantClear(&x);
}

TEST(ModelEnumerators, EmptyCollectionAndEnumeratorWithoutSnapshot) {
  ComPtr<IRecording> recording = MakeRecording(MemoryRecordingSpec{});
  ComPtr<IChannelGroups> groups;
  ASSERT_EQ(S_OK, recording->get_ChannelGroups(groups.put()));
  ComPtr<IUnknown> unknown;
  ASSERT_EQ(S_OK, groups->get__NewEnum(unknown.put()));
  ComPtr<IEnumVARIANT> e = EnumOf(unknown.get());
  VARIANT v;
  VariantInit(&v);
  ULONG fetched = 7;
  EXPECT_EQ(S_FALSE, e->Next(1, &v, &fetched));
  EXPECT_EQ(0u, fetched);
  EXPECT_EQ(VT_EMPTY, v.vt);

  ComPtr<IEnumVARIANT> bare;
  bare.assign(new CURIComEnumVariant(nullptr));
  EXPECT_EQ(E_FAIL, bare->Next(1, &v, &fetched));
  EXPECT_EQ(0u, fetched);
}

TEST(ModelEnumerators, SnapshotTakenAtCreation) {
  MemoryRecordingSpec spec;
  spec.markers = {1.0, 3.0};
  ComPtr<IRecording> recording = MakeRecording(spec);
  auto markers =
      QueryAs<IMarkers>(CollectionOf(recording.get(), kalRecColMarkers).get(), IID_IMarkers);
  ComPtr<IUnknown> unknown;
  ASSERT_EQ(S_OK, markers->get__NewEnum(unknown.put()));
  ComPtr<IEnumVARIANT> before = EnumOf(unknown.get());
  ASSERT_EQ(S_OK, markers->Add(2.0));

  VARIANT v[4];
  for (VARIANT& x : v) VariantInit(&x);
  ULONG fetched = 0;
  ASSERT_EQ(S_FALSE, before->Next(4, v, &fetched));
  ASSERT_EQ(2u, fetched);
  // Each element is the IDispatch of a marker item.
  double times[2] = {0, 0};
  for (int i = 0; i < 2; ++i) {
    ASSERT_EQ(VT_DISPATCH, v[i].vt);
    ComPtr<IMarker> marker = QueryAs<IMarker>(v[i].pdispVal, IID_IMarker);
    ASSERT_TRUE(marker);
    marker->get_Time(&times[i]);
    VariantClear(&v[i]);
  }
  // Marker items read their time at their index: the snapshot holds items
  // 1 and 2, and item 2 now reads the inserted 2.0.
  EXPECT_DOUBLE_EQ(1.0, times[0]);
  EXPECT_DOUBLE_EQ(2.0, times[1]);

  ComPtr<IUnknown> after_unknown;
  ASSERT_EQ(S_OK, markers->get__NewEnum(after_unknown.put()));
  ASSERT_EQ(S_FALSE, EnumOf(after_unknown.get())->Next(4, v, &fetched));
  EXPECT_EQ(3u, fetched);
  for (VARIANT& x : v) VariantClear(&x);
}

TEST(ModelEnumerators, BookmarkEnumeratorHandsOutBookmarks) {
  MemoryRecordingSpec spec;
  spec.bookmarks = {{2.0, u"second"}, {1.0, u"first"}};
  ComPtr<IRecording> recording = MakeRecording(spec);
  auto bookmarks =
      QueryAs<IBookmarks>(CollectionOf(recording.get(), kalRecColBookmarks).get(), IID_IBookmarks);
  ComPtr<IUnknown> unknown;
  ASSERT_EQ(S_OK, bookmarks->get__NewEnum(unknown.put()));
  VARIANT v[2];
  for (VARIANT& x : v) VariantInit(&x);
  ULONG fetched = 0;
  ASSERT_EQ(S_OK, EnumOf(unknown.get())->Next(2, v, &fetched));
  std::u16string names[2];
  for (int i = 0; i < 2; ++i) {
    ComPtr<IBookmark> bookmark = QueryAs<IBookmark>(v[i].pdispVal, IID_IBookmark);
    ASSERT_TRUE(bookmark);
    BSTR name = nullptr;
    ASSERT_EQ(S_OK, bookmark->get_Name(&name));
    names[i] = ToU16(name);
    SysFreeString(name);
    VariantClear(&v[i]);
  }
  EXPECT_EQ(u"first", names[0]);
  EXPECT_EQ(u"second", names[1]);
}

}  // namespace
}  // namespace mlr::model::testing
