// Late-bound calls through the catalogue's dispatch tables reach the right
// member with the arguments a script passes: safe arrays in and out of a
// group's GetMuxData, and a failing member. (The dispatch machinery's other
// parameter shapes are tested with its own test objects; every catalogue
// line's shape is held against the IDL by the vtable and dispatch tests.)
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "model/dispatch_tables.h"
#include "platform/strings.h"

namespace catalogue_test {
namespace {

using ::testing::_;
using ::testing::Invoke;
using ::testing::Return;

// IUnknown for a fake that lives on the stack: answers IUnknown, IDispatch
// and I, and counts references so that the tests see none left over.
template <class I>
class Fake : public mlr::model::DispatchImplFor<I> {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
    if (!ppv) return E_POINTER;
    *ppv = nullptr;
    if (riid == IID_IUnknown || riid == IID_IDispatch || riid == mlr::IidOf<I>()) {
      *ppv = static_cast<I*>(this);
      AddRef();
      return S_OK;
    }
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++refs; }
  ULONG STDMETHODCALLTYPE Release() override { return --refs; }
  ULONG refs = 0;
};

class FakeChannelInfo : public Fake<IChannelInfo> {
 public:
  MOCK_METHOD(HRESULT, get_Name, (VARIANT, BSTR*), (override));
  MOCK_METHOD(HRESULT, get_Parent, (IChannelInfos**), (override));
  MOCK_METHOD(HRESULT, get_EventChannel, (VARIANT_BOOL*), (override));
  MOCK_METHOD(HRESULT, get_SystemEventMask, (kalSystemEvent, short*), (override));
  MOCK_METHOD(HRESULT, get_VNorms, (IVNorms**), (override));
  MOCK_METHOD(HRESULT, get_YUnits, (BSTR*), (override));
  MOCK_METHOD(HRESULT, GetSampleAtTime, (double, short*), (override));
  MOCK_METHOD(HRESULT, GetValueAtTime, (double, double*), (override));
  MOCK_METHOD(HRESULT, get_ChannelGroup, (IChannelGroup**), (override));
  MOCK_METHOD(HRESULT, get_Index, (LONG*), (override));
};

class FakeChannelGroup : public Fake<IChannelGroup> {
 public:
  MOCK_METHOD(HRESULT, get_Parent, (IChannelGroups**), (override));
  MOCK_METHOD(HRESULT, get_HNorms, (IHNorms**), (override));
  MOCK_METHOD(HRESULT, get_ChannelInfos, (IChannelInfos**), (override));
  MOCK_METHOD(HRESULT, GetBestReductionFactor, (LONG, LONG*), (override));
  MOCK_METHOD(HRESULT, get_StartTime, (double*), (override));
  MOCK_METHOD(HRESULT, get_EndTime, (double*), (override));
  MOCK_METHOD(HRESULT, get_Duration, (double*), (override));
  MOCK_METHOD(HRESULT, GetMuxData, (SAFEARRAY**, LONG, LONG, LONG, LONG, SAFEARRAY**),
              (override));
  MOCK_METHOD(HRESULT, GetScaledMuxData, (SAFEARRAY**, LONG, LONG, LONG, LONG, SAFEARRAY**),
              (override));
  MOCK_METHOD(HRESULT, GetResampledMuxData,
              (SAFEARRAY**, LONG, LONG, LONG, LONG, SAFEARRAY**), (override));
  MOCK_METHOD(HRESULT, GetDisplayData, (IChannelInfo*, double, double, LONG, SAFEARRAY**),
              (override));
  MOCK_METHOD(HRESULT, get_Recording, (IRecording**), (override));
  MOCK_METHOD(HRESULT, get_Index, (LONG*), (override));
};

// Looks the member up by name, as a script does, and invokes it with the
// arguments in source order (DISPPARAMS wants them reversed).
HRESULT CallByName(IDispatch* obj, const char16_t* name, WORD flags, std::vector<VARIANT> args,
                   VARIANT* result, EXCEPINFO* excep = nullptr) {
  std::u16string n(name);
  LPOLESTR names[] = {n.data()};
  DISPID id = 0;
  HRESULT hr = obj->GetIDsOfNames(IID_NULL, names, 1, 0, &id);
  if (FAILED(hr)) return hr;
  std::vector<VARIANT> reversed(args.rbegin(), args.rend());
  DISPID put_id = DISPID_PROPERTYPUT;
  DISPPARAMS dp{reversed.data(), nullptr, static_cast<UINT>(reversed.size()), 0};
  if (flags & DISPATCH_PROPERTYPUT) {
    dp.rgdispidNamedArgs = &put_id;
    dp.cNamedArgs = 1;
  }
  UINT arg_err = 0;
  return obj->Invoke(id, IID_NULL, 0, flags, &dp, result, excep, &arg_err);
}

VARIANT I4(LONG v) {
  VARIANT x;
  VariantInit(&x);
  x.vt = VT_I4;
  x.lVal = v;
  return x;
}
VARIANT R8(double v) {
  VARIANT x;
  VariantInit(&x);
  x.vt = VT_R8;
  x.dblVal = v;
  return x;
}
template <class T>
VARIANT ByRef(VARTYPE vt, T* target) {
  VARIANT x;
  VariantInit(&x);
  x.vt = static_cast<VARTYPE>(vt | VT_BYREF);
  x.byref = target;
  return x;
}

SAFEARRAY* ShortVector(std::initializer_list<short> values) {
  SAFEARRAY* sa = SafeArrayCreateVector(VT_I2, 0, static_cast<ULONG>(values.size()));
  LONG i = 0;
  for (short v : values) {
    SafeArrayPutElement(sa, &i, &v);
    ++i;
  }
  return sa;
}

TEST(CatalogueInvoke, SafeArraysGoInAndComeOutThroughGetMuxData) {
  FakeChannelGroup group;
  FakeChannelInfo channel;
  SAFEARRAY* channels = SafeArrayCreateVector(VT_DISPATCH, 0, 1);
  LONG zero = 0;
  ASSERT_EQ(SafeArrayPutElement(channels, &zero, static_cast<IDispatch*>(&channel)), S_OK);

  EXPECT_CALL(group, GetMuxData(_, 2, 100, 50, 4, _))
      .WillOnce(Invoke([&](SAFEARRAY** chinfo, LONG, LONG, LONG, LONG, SAFEARRAY** result) {
        // The member sees an array of the channel infos' IDispatch.
        EXPECT_TRUE(chinfo && *chinfo);
        VARTYPE vt = VT_EMPTY;
        SafeArrayGetVartype(*chinfo, &vt);
        EXPECT_EQ(vt, VT_DISPATCH);
        IDispatch* first = nullptr;
        LONG i = 0;
        SafeArrayGetElement(*chinfo, &i, &first);
        EXPECT_EQ(first, static_cast<IDispatch*>(&channel));
        if (first) first->Release();
        *result = ShortVector({7, -32768, 9});
        return S_OK;
      }));
  VARIANT arr;
  VariantInit(&arr);
  arr.vt = VT_ARRAY | VT_DISPATCH;
  arr.parray = channels;
  SAFEARRAY* out = nullptr;
  VARIANT result;
  VariantInit(&result);
  EXPECT_EQ(CallByName(&group, u"getmuxdata", DISPATCH_METHOD,
                       {arr, I4(2), I4(100), I4(50), I4(4), ByRef(VT_ARRAY | VT_I2, &out)},
                       &result),
            S_OK);
  ASSERT_NE(out, nullptr);
  short got[3] = {};
  for (LONG i = 0; i < 3; ++i) SafeArrayGetElement(out, &i, &got[i]);
  EXPECT_EQ(got[0], 7);
  EXPECT_EQ(got[1], -32768);
  EXPECT_EQ(got[2], 9);
  EXPECT_EQ(result.vt, VT_EMPTY);
  SafeArrayDestroy(out);
  VariantClear(&arr);
  EXPECT_EQ(channel.refs, 0u);
}

TEST(CatalogueInvoke, FailingMemberArrivesAsException) {
  FakeChannelInfo channel;
  EXPECT_CALL(channel, GetValueAtTime(1.5, _)).WillOnce(Return(E_INVALIDARG));
  double value = 0;
  VARIANT result;
  VariantInit(&result);
  EXCEPINFO excep{};
  EXPECT_EQ(CallByName(&channel, u"GetValueAtTime", DISPATCH_METHOD,
                       {R8(1.5), ByRef(VT_R8, &value)}, &result, &excep),
            DISP_E_EXCEPTION);
  EXPECT_EQ(excep.scode, E_INVALIDARG);
  SysFreeString(excep.bstrSource);
  SysFreeString(excep.bstrDescription);
  SysFreeString(excep.bstrHelpFile);
}

}  // namespace
}  // namespace catalogue_test
