// Late-bound calls through the catalogue's dispatch tables reach the right
// member with the arguments a script passes: safe arrays in and out of a
// group's GetMuxData, and a failing member. (The dispatch machinery's other
// parameter shapes are tested with its own test objects; every catalogue
// line's shape is held against the IDL by the vtable and dispatch tests.)
#include <gtest/gtest.h>

#include <vector>

#include "model/live_objects.h"
#include "model/memory_recording.h"
#include "platform/com_ptr.h"
#include "tests/platform/test_objects.h"

namespace catalogue_test {
namespace {

using mlr::ComPtr;

// One group of two channels and ten frames; frame f holds (10 f, 10 f + 1).
ComPtr<IRecording> TwoChannels() {
  mlr::model::MemoryGroupSpec group;
  group.channels.resize(2);
  group.segments.resize(1);
  for (int f = 0; f < 10; ++f) {
    for (int c = 0; c < 2; ++c) group.segments[0].frames.push_back(static_cast<int16_t>(10 * f + c));
  }
  mlr::model::MemoryRecordingSpec spec;
  spec.groups.push_back(group);
  ComPtr<IRecording> recording;
  EXPECT_EQ(mlr::model::CreateMemoryRecording(spec, recording.put()), S_OK);
  return recording;
}

// Group 1 and its channel `index`.
void GroupAndChannel(IRecording* recording, LONG index, ComPtr<IChannelGroup>* group,
                     ComPtr<IChannelInfo>* channel) {
  ComPtr<IChannelGroups> groups;
  ComPtr<IChannelInfos> channels;
  ASSERT_EQ(recording->get_ChannelGroups(groups.put()), S_OK);
  ASSERT_EQ(groups->get_Item(1, group->put()), S_OK);
  ASSERT_EQ((*group)->get_ChannelInfos(channels.put()), S_OK);
  ASSERT_EQ(channels->get_Item(index, channel->put()), S_OK);
}

// Looks the member up by name, as a script does, and invokes it with the
// arguments in source order (DISPPARAMS wants them reversed).
HRESULT CallByName(IDispatch* obj, const char16_t* name, std::vector<VARIANT> args,
                   VARIANT* result, EXCEPINFO* excep = nullptr) {
  std::u16string n(name);
  LPOLESTR names[] = {n.data()};
  DISPID id = 0;
  HRESULT hr = obj->GetIDsOfNames(IID_NULL, names, 1, 0, &id);
  if (FAILED(hr)) return hr;
  std::vector<VARIANT> reversed(args.rbegin(), args.rend());
  DISPPARAMS dp{reversed.data(), nullptr, static_cast<UINT>(reversed.size()), 0};
  UINT arg_err = 0;
  return obj->Invoke(id, IID_NULL, 0, DISPATCH_METHOD, &dp, result, excep, &arg_err);
}

VARIANT RefArray(SAFEARRAY** target) {
  VARIANT v = MakeVariant(VT_BYREF | VT_ARRAY | VT_I2);
  v.pparray = target;
  return v;
}

TEST(CatalogueInvoke, SafeArraysGoInAndComeOutThroughGetMuxData) {
  const long baseline = mlr::model::LiveObjectCount();
  {
    ComPtr<IRecording> recording = TwoChannels();
    ComPtr<IChannelGroup> group;
    ComPtr<IChannelInfo> channel;
    GroupAndChannel(recording.get(), 2, &group, &channel);
    SAFEARRAY* channels = SafeArrayCreateVector(VT_DISPATCH, 0, 1);
    LONG zero = 0;
    ASSERT_EQ(SafeArrayPutElement(channels, &zero, static_cast<IDispatch*>(channel.get())), S_OK);
    VARIANT list = Array(VT_DISPATCH, channels);
    SAFEARRAY* out = nullptr;
    VARIANT result = MakeVariant(VT_EMPTY);
    // Channel 2 from sample 3, two items at full rate.
    EXPECT_EQ(CallByName(group.get(), u"getmuxdata",
                         {list, I4(1), I4(3), I4(2), I4(1), RefArray(&out)}, &result),
              S_OK);
    ASSERT_NE(out, nullptr);
    ASSERT_EQ(SafeArrayGetDim(out), 1u);
    short got[2] = {};
    for (LONG i = 0; i < 2; ++i) SafeArrayGetElement(out, &i, &got[i]);
    EXPECT_EQ(got[0], 21);
    EXPECT_EQ(got[1], 31);
    EXPECT_EQ(result.vt, VT_EMPTY);
    SafeArrayDestroy(out);
    VariantClear(&list);
  }
  // Nothing the call took or handed out is left referenced.
  EXPECT_EQ(mlr::model::LiveObjectCount(), baseline);
}

TEST(CatalogueInvoke, FailingMemberArrivesAsException) {
  ComPtr<IRecording> recording = TwoChannels();
  ComPtr<IChannelGroup> group;
  ComPtr<IChannelInfo> channel;
  GroupAndChannel(recording.get(), 1, &group, &channel);
  SAFEARRAY* channels = SafeArrayCreateVector(VT_DISPATCH, 0, 1);
  LONG zero = 0;
  ASSERT_EQ(SafeArrayPutElement(channels, &zero, static_cast<IDispatch*>(channel.get())), S_OK);
  VARIANT list = Array(VT_DISPATCH, channels);
  SAFEARRAY* out = nullptr;
  VARIANT result = MakeVariant(VT_EMPTY);
  EXCEPINFO excep{};
  // FirstSample 0 is refused with E_INVALIDARG.
  EXPECT_EQ(CallByName(group.get(), u"GetMuxData",
                       {list, I4(1), I4(0), I4(2), I4(1), RefArray(&out)}, &result, &excep),
            DISP_E_EXCEPTION);
  EXPECT_EQ(excep.scode, E_INVALIDARG);
  EXPECT_EQ(TextOf(excep.bstrDescription), u"An argument is not valid.");
  EXPECT_EQ(out, nullptr);
  SysFreeString(excep.bstrSource);
  SysFreeString(excep.bstrDescription);
  SysFreeString(excep.bstrHelpFile);
  VariantClear(&list);
}

}  // namespace
}  // namespace catalogue_test
