// Late-bound calls through the catalogue's dispatch tables reach the right
// member with the arguments a script passes, for the parameter shapes the
// library uses: [in] and [out] safe arrays, [in, out] longs, optional
// VARIANTs with a default, enumerations, VARIANT_BOOL results, several [out]
// arguments, and a failing member.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "model/dispatch_tables.h"
#include "platform/strings.h"

namespace catalogue_test {
namespace {

using ::testing::_;
using ::testing::DoAll;
using ::testing::Invoke;
using ::testing::Return;
using ::testing::SetArgPointee;

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

class FakeResampler : public Fake<IChannelResampler> {
 public:
  MOCK_METHOD(HRESULT, get_StartTime, (double*), (override));
  MOCK_METHOD(HRESULT, put_StartTime, (double), (override));
  MOCK_METHOD(HRESULT, get_EndTime, (double*), (override));
  MOCK_METHOD(HRESULT, put_EndTime, (double), (override));
  MOCK_METHOD(HRESULT, Start, (SAFEARRAY**), (override));
  MOCK_METHOD(HRESULT, get_XStep, (double*), (override));
  MOCK_METHOD(HRESULT, put_XStep, (double), (override));
  MOCK_METHOD(HRESULT, GetNextMuxDataBuffer, (LONG*, SAFEARRAY**, SAFEARRAY**), (override));
  MOCK_METHOD(HRESULT, GetNextDataBuffers, (LONG*, SAFEARRAY**), (override));
  MOCK_METHOD(HRESULT, get_InvalidSampleValue, (double*), (override));
  MOCK_METHOD(HRESULT, put_InvalidSampleValue, (double), (override));
  MOCK_METHOD(HRESULT, get_Flags, (kalRecordingResamplerFlags*), (override));
  MOCK_METHOD(HRESULT, put_Flags, (kalRecordingResamplerFlags), (override));
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

TEST(CatalogueInvoke, InOutLongIsReadAndWrittenBack) {
  FakeChannelGroup group;
  EXPECT_CALL(group, GetBestReductionFactor(3, _))
      .WillOnce(Invoke([](LONG, LONG* factor) {
        EXPECT_EQ(*factor, 10);
        *factor = 8;
        return S_OK;
      }));
  LONG factor = 10;
  VARIANT result;
  VariantInit(&result);
  EXPECT_EQ(CallByName(&group, u"GetBestReductionFactor", DISPATCH_METHOD,
                       {I4(3), ByRef(VT_I4, &factor)}, &result),
            S_OK);
  EXPECT_EQ(factor, 8);
}

TEST(CatalogueInvoke, OptionalDefaultsEnumerationsAndShortAndBooleanResults) {
  FakeChannelInfo channel;
  EXPECT_CALL(channel, get_Name(_, _))
      .WillOnce(Invoke([](VARIANT bit, BSTR* name) {
        EXPECT_EQ(bit.vt, VT_I4);
        EXPECT_EQ(bit.lVal, 0);  // the optional bit number's default
        *name = SysAllocString(u"Pressure");
        return S_OK;
      }))
      .WillOnce(Invoke([](VARIANT bit, BSTR* name) {
        EXPECT_EQ(bit.vt, VT_I4);
        EXPECT_EQ(bit.lVal, 5);
        *name = SysAllocString(u"Bit 5");
        return S_OK;
      }));
  EXPECT_CALL(channel, get_SystemEventMask(kalSysEventMarker, _))
      .WillOnce(DoAll(SetArgPointee<1>(static_cast<short>(4)), Return(S_OK)));
  EXPECT_CALL(channel, get_EventChannel(_))
      .WillOnce(DoAll(SetArgPointee<0>(VARIANT_TRUE), Return(S_OK)));
  VARIANT result;
  VariantInit(&result);
  ASSERT_EQ(CallByName(&channel, u"Name", DISPATCH_PROPERTYGET, {}, &result), S_OK);
  ASSERT_EQ(result.vt, VT_BSTR);
  EXPECT_EQ(std::u16string(result.bstrVal), u"Pressure");
  VariantClear(&result);
  ASSERT_EQ(CallByName(&channel, u"Name", DISPATCH_PROPERTYGET, {I4(5)}, &result), S_OK);
  ASSERT_EQ(result.vt, VT_BSTR);
  EXPECT_EQ(std::u16string(result.bstrVal), u"Bit 5");
  VariantClear(&result);
  ASSERT_EQ(CallByName(&channel, u"SystemEventMask", DISPATCH_PROPERTYGET,
                       {I4(kalSysEventMarker)}, &result),
            S_OK);
  EXPECT_EQ(result.vt, VT_I2);
  EXPECT_EQ(result.iVal, 4);
  ASSERT_EQ(CallByName(&channel, u"EventChannel", DISPATCH_PROPERTYGET, {}, &result), S_OK);
  EXPECT_EQ(result.vt, VT_BOOL);
  EXPECT_EQ(result.boolVal, VARIANT_TRUE);
}

TEST(CatalogueInvoke, SeveralOutArgumentsOfOneCall) {
  FakeResampler res;
  EXPECT_CALL(res, GetNextMuxDataBuffer(_, _, _))
      .WillOnce(Invoke([](LONG* count, SAFEARRAY** analog, SAFEARRAY** events) {
        *count = 2;
        *analog = SafeArrayCreateVector(VT_R4, 0, 2);
        *events = ShortVector({1, 2});
        return S_OK;
      }));
  EXPECT_CALL(res, put_Flags(RRF_None)).WillOnce(Return(S_OK));
  EXPECT_CALL(res, GetNextDataBuffers(_, _))
      .WillOnce(Invoke([](LONG* count, SAFEARRAY** buffers) {
        *count = 1;
        *buffers = SafeArrayCreateVector(VT_VARIANT, 0, 3);
        return S_OK;
      }));
  LONG count = 0;
  SAFEARRAY* analog = nullptr;
  SAFEARRAY* events = nullptr;
  VARIANT result;
  VariantInit(&result);
  ASSERT_EQ(CallByName(&res, u"GetNextMuxDataBuffer", DISPATCH_METHOD,
                       {ByRef(VT_I4, &count), ByRef(VT_ARRAY | VT_R4, &analog),
                        ByRef(VT_ARRAY | VT_I2, &events)},
                       &result),
            S_OK);
  EXPECT_EQ(count, 2);
  VARTYPE vt = VT_EMPTY;
  ASSERT_NE(analog, nullptr);
  SafeArrayGetVartype(analog, &vt);
  EXPECT_EQ(vt, VT_R4);
  ASSERT_NE(events, nullptr);
  SafeArrayGetVartype(events, &vt);
  EXPECT_EQ(vt, VT_I2);
  SafeArrayDestroy(analog);
  SafeArrayDestroy(events);
  EXPECT_EQ(CallByName(&res, u"Flags", DISPATCH_PROPERTYPUT, {I4(RRF_None)}, nullptr), S_OK);
  // An array of VARIANTs, one per channel, through a VARIANT the script owns.
  VARIANT buffers;
  VariantInit(&buffers);
  ASSERT_EQ(CallByName(&res, u"GetNextDataBuffers", DISPATCH_METHOD,
                       {ByRef(VT_I4, &count), ByRef(VT_VARIANT, &buffers)}, &result),
            S_OK);
  EXPECT_EQ(count, 1);
  EXPECT_EQ(buffers.vt, VT_ARRAY | VT_VARIANT);
  VariantClear(&buffers);
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
