// Late-bound access to the object model's own objects: which dispatch table
// an object answers through depends on the interface it was asked for, and
// DISPID_NEWENUM hands out elements that answer by name. (The parameter
// shapes of every member are covered by the catalogue's invoke tests, the
// dispatch machinery by the platform's.)
#include <gtest/gtest.h>

#include <vector>

#include "model_test_util.h"
#include "platform/strings.h"
#include "tests/platform/test_objects.h"

namespace mlr::model::testing {
namespace {

DISPID IdOf(IDispatch* object, const char16_t* name) {
  OLECHAR* names[] = {const_cast<OLECHAR*>(name)};
  DISPID id = 12345;
  EXPECT_EQ(S_OK, object->GetIDsOfNames(IID_NULL, names, 1, 0, &id)) << "name";
  return id;
}

// Invokes with `args` given in natural order (Invoke wants them reversed).
HRESULT Call(IDispatch* object, DISPID id, WORD flags, std::vector<VARIANT> args, VARIANT* result) {
  std::vector<VARIANT> reversed(args.rbegin(), args.rend());
  DISPPARAMS params = {reversed.data(), nullptr, static_cast<UINT>(reversed.size()), 0};
  return object->Invoke(id, IID_NULL, 0, flags, &params, result, nullptr, nullptr);
}

MemoryRecordingSpec Spec() {
  MemoryRecordingSpec spec;
  spec.title = u"Bench run";
  spec.groups.push_back(MakeGroup(2, {{0.0, 0.5, 9}}));
  spec.groups[0].channels[1].bit_names = {u"door"};
  spec.bookmarks = {{1.0, u"b"}};
  return spec;
}

TEST(ModelDispatch, NewEnumByDispid) {
  ComPtr<IRecording> recording = MakeRecording(Spec());
  ComPtr<IHNorms> hnorms = HNorms(recording.get(), 1);
  Variant result;
  ASSERT_EQ(S_OK, Call(hnorms.get(), DISPID_NEWENUM, DISPATCH_PROPERTYGET | DISPATCH_METHOD, {},
                       result.put()));
  ASSERT_EQ(VT_UNKNOWN, result.get()->vt);
  ComPtr<IEnumVARIANT> e = QueryAs<IEnumVARIANT>(result.get()->punkVal, IID_IEnumVARIANT);
  ASSERT_TRUE(e);
  VARIANT item;
  VariantInit(&item);
  ULONG fetched = 0;
  ASSERT_EQ(S_OK, e->Next(1, &item, &fetched));
  ASSERT_EQ(VT_DISPATCH, item.vt);
  // The element answers by name too.
  Variant length;
  ASSERT_EQ(S_OK, Call(item.pdispVal, IdOf(item.pdispVal, u"Length"), DISPATCH_PROPERTYGET, {},
                       length.put()));
  EXPECT_EQ(VT_I4, length.get()->vt);
  EXPECT_EQ(9, length.get()->lVal);
  VariantClear(&item);

  // Through the bookmarks' ITimemarks, identifier 3 is GetIndicesFromTime
  // (through IBookmarks it would be Add).
  ComPtr<ITimemarks> marks = CollectionAs<ITimemarks>(recording.get(), kalRecColBookmarks);
  LONG first = 0;
  LONG last = 0;
  ASSERT_EQ(S_OK, Call(marks.get(), 3, DISPATCH_METHOD,
                       {R8(0.0), R8(9.0), RefI4(&first), RefI4(&last)}, nullptr));
  EXPECT_EQ(1, first);
  EXPECT_EQ(1, last);
  EXPECT_EQ(1, Get(CollectionAs<IBookmarks>(recording.get(), kalRecColBookmarks).get(),
                   &IBookmarks::get_Count));
}

}  // namespace
}  // namespace mlr::model::testing
