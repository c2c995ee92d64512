// Late-bound access to the object model: a sample of members reached by
// name through IDispatch.
#include <gtest/gtest.h>

#include <vector>

#include "model_test_util.h"
#include "platform/strings.h"

namespace mlr::model::testing {
namespace {

DISPID IdOf(IDispatch* object, const char16_t* name) {
  OLECHAR* names[] = {const_cast<OLECHAR*>(name)};
  DISPID id = 12345;
  EXPECT_EQ(S_OK, object->GetIDsOfNames(IID_NULL, names, 1, 0, &id)) << "name";
  return id;
}

// Invokes with `args` given in natural order (reversed here, as Invoke
// wants them).
HRESULT Call(IDispatch* object, DISPID id, WORD flags, std::vector<VARIANT> args, VARIANT* result,
             EXCEPINFO* info = nullptr) {
  std::vector<VARIANT> reversed(args.rbegin(), args.rend());
  DISPPARAMS params = {reversed.empty() ? nullptr : reversed.data(), nullptr,
                       static_cast<UINT>(reversed.size()), 0};
  DISPID put = DISPID_PROPERTYPUT;
  if (flags == DISPATCH_PROPERTYPUT) {
    params.rgdispidNamedArgs = &put;
    params.cNamedArgs = 1;
  }
  UINT arg_error = 0;
  return object->Invoke(id, IID_NULL, 0, flags, &params, result, info, &arg_error);
}

VARIANT Long(LONG value) {
  VARIANT v;
  VariantInit(&v);
  v.vt = VT_I4;
  v.lVal = value;
  return v;
}
VARIANT Double(double value) {
  VARIANT v;
  VariantInit(&v);
  v.vt = VT_R8;
  v.dblVal = value;
  return v;
}
VARIANT LongRef(LONG* value) {
  VARIANT v;
  VariantInit(&v);
  v.vt = VT_I4 | VT_BYREF;
  v.plVal = value;
  return v;
}

MemoryRecordingSpec Spec() {
  MemoryRecordingSpec spec;
  spec.title = u"Bench run";
  spec.groups.push_back(MakeGroup(2, {{0.0, 0.5, 9}}));
  spec.groups[0].channels[1].bit_names = {u"door"};
  spec.markers = {1.0, 2.0, 3.0};
  spec.bookmarks = {{1.0, u"b"}};
  return spec;
}

TEST(ModelDispatch, PropertyGetAndPutByName) {
  ComPtr<IRecording> recording = MakeRecording(Spec());
  IDispatch* d = recording.get();
  EXPECT_EQ(0, IdOf(d, u"title"));  // names match case-insensitively
  EXPECT_EQ(14, IdOf(d, u"EndTime"));

  Variant result;
  ASSERT_EQ(S_OK, Call(d, 0, DISPATCH_PROPERTYGET, {}, result.put()));
  ASSERT_EQ(VT_BSTR, result.get()->vt);
  EXPECT_EQ(u"Bench run", ToU16(result.get()->bstrVal));

  ASSERT_EQ(S_OK, Call(d, 14, DISPATCH_PROPERTYGET | DISPATCH_METHOD, {}, result.put()));
  ASSERT_EQ(VT_R8, result.get()->vt);
  EXPECT_DOUBLE_EQ(4.0, result.get()->dblVal);

  VARIANT title;
  VariantInit(&title);
  title.vt = VT_BSTR;
  title.bstrVal = SysAllocString(u"renamed");
  EXPECT_EQ(S_OK, Call(d, 0, DISPATCH_PROPERTYPUT, {title}, nullptr));
  VariantClear(&title);
  ASSERT_EQ(S_OK, Call(d, 0, DISPATCH_PROPERTYGET, {}, result.put()));
  EXPECT_EQ(u"Bench run", ToU16(result.get()->bstrVal));  // puts change nothing

  // WriteProtect comes back as a VT_BOOL.
  ASSERT_EQ(S_OK, Call(d, IdOf(d, u"WriteProtect"), DISPATCH_PROPERTYGET, {}, result.put()));
  EXPECT_EQ(VT_BOOL, result.get()->vt);
  EXPECT_EQ(VARIANT_TRUE, result.get()->boolVal);

  // Collection(kalRecColMarkers) with its argument.
  ASSERT_EQ(S_OK, Call(d, 20, DISPATCH_PROPERTYGET, {Long(kalRecColMarkers)}, result.put()));
  ASSERT_EQ(VT_UNKNOWN, result.get()->vt);
  EXPECT_TRUE(QueryAs<IMarkers>(result.get()->punkVal, IID_IMarkers));
}

TEST(ModelDispatch, OptionalArgumentAndItem) {
  ComPtr<IRecording> recording = MakeRecording(Spec());
  ComPtr<IChannelGroups> groups;
  ASSERT_EQ(S_OK, recording->get_ChannelGroups(groups.put()));
  Variant result;
  ASSERT_EQ(S_OK, Call(groups.get(), 0, DISPATCH_PROPERTYGET, {Long(1)}, result.put()));
  ASSERT_EQ(VT_DISPATCH, result.get()->vt);
  ComPtr<IChannelGroup> group = QueryAs<IChannelGroup>(result.get()->pdispVal, IID_IChannelGroup);
  ASSERT_TRUE(group);

  ComPtr<IChannelInfo> channel = Channel(recording.get(), 1, 2);
  IDispatch* d = channel.get();
  // Name without its optional BitNumber: the channel's name.
  ASSERT_EQ(S_OK, Call(d, 0, DISPATCH_PROPERTYGET, {}, result.put()));
  EXPECT_EQ(u"Ch2", ToU16(result.get()->bstrVal));
  ASSERT_EQ(S_OK, Call(d, 0, DISPATCH_PROPERTYGET, {Long(1)}, result.put()));
  EXPECT_EQ(u"door", ToU16(result.get()->bstrVal));
}

TEST(ModelDispatch, MethodWithOutArguments) {
  ComPtr<IRecording> recording = MakeRecording(Spec());
  ComPtr<IUnknown> markers = CollectionOf(recording.get(), kalRecColMarkers);
  ComPtr<IDispatch> d = QueryAs<IDispatch>(markers.get(), IID_IDispatch);
  LONG first = 0;
  LONG last = 0;
  ASSERT_EQ(S_OK, Call(d.get(), IdOf(d.get(), u"GetIndicesFromTime"), DISPATCH_METHOD,
                       {Double(1.5), Double(3.0), LongRef(&first), LongRef(&last)}, nullptr));
  EXPECT_EQ(2, first);
  EXPECT_EQ(3, last);

  // Through the bookmarks' ITimemarks, identifier 3 is GetIndicesFromTime
  // (through IBookmarks it would be Add).
  ComPtr<IUnknown> bookmarks = CollectionOf(recording.get(), kalRecColBookmarks);
  ComPtr<ITimemarks> marks = QueryAs<ITimemarks>(bookmarks.get(), IID_ITimemarks);
  ASSERT_EQ(S_OK, Call(marks.get(), 3, DISPATCH_METHOD,
                       {Double(0.0), Double(9.0), LongRef(&first), LongRef(&last)}, nullptr));
  EXPECT_EQ(1, first);
  EXPECT_EQ(1, last);
  LONG count = 0;
  ComPtr<IBookmarks> typed = QueryAs<IBookmarks>(bookmarks.get(), IID_IBookmarks);
  ASSERT_EQ(S_OK, typed->get_Count(&count));
  EXPECT_EQ(1, count);
}

TEST(ModelDispatch, MuxDataThroughLateBinding) {
  ComPtr<IRecording> recording = MakeRecording(Spec());
  ComPtr<IChannelGroup> group = Group(recording.get(), 1);
  ComPtr<IChannelInfo> channel = Channel(recording.get(), 1, 2);
  VARIANT channels;
  VariantInit(&channels);
  channels.vt = VT_ARRAY | VT_DISPATCH;
  channels.parray = SafeArrayCreateVector(VT_DISPATCH, 0, 1);
  LONG zero = 0;
  ASSERT_EQ(S_OK, SafeArrayPutElement(channels.parray, &zero, static_cast<IDispatch*>(channel.get())));
  SAFEARRAY* out = nullptr;
  VARIANT result;
  VariantInit(&result);
  result.vt = VT_ARRAY | VT_I2 | VT_BYREF;
  result.pparray = &out;
  // GetMuxData(ChInfo, HNormIndex, FirstSample, ItemCount, Reduction, [out] Result)
  ASSERT_EQ(S_OK, Call(group.get(), IdOf(group.get(), u"GetMuxData"), DISPATCH_METHOD,
                       {channels, Long(1), Long(7), Long(5), Long(1), result}, nullptr));
  ASSERT_NE(nullptr, out);
  LONG lower = -1;
  LONG upper = -1;
  SafeArrayGetLBound(out, 1, &lower);
  SafeArrayGetUBound(out, 1, &upper);
  EXPECT_EQ(0, lower);
  EXPECT_EQ(2, upper);  // frames 7..9 of a nine-frame segment
  SHORT* data = nullptr;
  ASSERT_EQ(S_OK, SafeArrayAccessData(out, reinterpret_cast<void**>(&data)));
  EXPECT_EQ(61, data[0]);
  EXPECT_EQ(81, data[2]);
  SafeArrayUnaccessData(out);
  SafeArrayDestroy(out);
  VariantClear(&channels);
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
}

TEST(ModelDispatch, FailingMemberArrivesAsException) {
  ComPtr<IRecording> recording = MakeRecording(Spec());
  ComPtr<IUnknown> markers = CollectionOf(recording.get(), kalRecColMarkers);
  ComPtr<IDispatch> d = QueryAs<IDispatch>(markers.get(), IID_IDispatch);
  EXCEPINFO info = {};
  Variant result;
  EXPECT_EQ(DISP_E_EXCEPTION, Call(d.get(), 0, DISPATCH_PROPERTYGET, {Long(0)}, result.put(), &info));
  EXPECT_EQ(E_INVALIDARG, info.scode);
  SysFreeString(info.bstrSource);
  SysFreeString(info.bstrDescription);
  SysFreeString(info.bstrHelpFile);

  // Without EXCEPINFO the member's own status comes back.
  EXPECT_EQ(E_INVALIDARG, Call(d.get(), 0, DISPATCH_PROPERTYGET, {Long(4)}, result.put()));

  ComPtr<IChannelInfo> channel = Channel(recording.get(), 1, 1);
  info = {};
  EXPECT_EQ(DISP_E_EXCEPTION,
            Call(channel.get(), 0, DISPATCH_PROPERTYGET, {Long(17)}, result.put(), &info));
  EXPECT_EQ(E_INVALIDARG, info.scode);
  SysFreeString(info.bstrSource);
  SysFreeString(info.bstrDescription);
  SysFreeString(info.bstrHelpFile);
}

}  // namespace
}  // namespace mlr::model::testing
