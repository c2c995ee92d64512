// The resampler as a component: its class object, creation by class
// identifier, aggregation, late-bound calls.
#include <gtest/gtest.h>

#include "LegacyRecording.h"
#include "platform/com_ptr.h"
#include "resampler/channel_resampler.h"
#include "server/module.h"
#include "tests/platform/test_objects.h"

namespace mlr::resampler::test {
namespace {

TEST(ChannelResamplerClass, IsServedByClassObjectAndCreatableByClassIdentifier) {
  ComPtr<IClassFactory> factory;
  ASSERT_EQ(DllGetClassObject(CLSID_ChannelResampler, IID_IClassFactory, factory.put_void()),
            S_OK);
  DWORD cookie = 0;
  ASSERT_EQ(CoRegisterClassObject(CLSID_ChannelResampler, factory.get(), CLSCTX_INPROC_SERVER,
                                  REGCLS_MULTIPLEUSE, &cookie),
            S_OK);
  ComPtr<IDispatch> created;
  EXPECT_EQ(CoCreateInstance(CLSID_ChannelResampler, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch,
                             created.put_void()),
            S_OK);
  CoRevokeClassObject(cookie);
  ASSERT_TRUE(created);

  // Late-bound: the members by name, as the type library declares them.
  OLECHAR name[] = OLESTR("xstep");
  LPOLESTR names[] = {name};
  DISPID id = 0;
  ASSERT_EQ(created->GetIDsOfNames(IID_NULL, names, 1, 0, &id), S_OK);
  EXPECT_EQ(id, 4);
  VARIANT arg = R8(0.25);
  DISPID put = DISPID_PROPERTYPUT;
  DISPPARAMS params = {&arg, &put, 1, 1};
  ASSERT_EQ(created->Invoke(id, IID_NULL, 0, DISPATCH_PROPERTYPUT, &params, nullptr, nullptr,
                            nullptr),
            S_OK);
  ComPtr<IChannelResampler> typed;
  ASSERT_EQ(created->QueryInterface(IID_IChannelResampler, typed.put_void()), S_OK);
  double step = 0;
  typed->get_XStep(&step);
  EXPECT_EQ(step, 0.25);
  VARIANT result;
  VariantInit(&result);
  DISPPARAMS none = {nullptr, nullptr, 0, 0};
  ASSERT_EQ(created->Invoke(6, IID_NULL, 0, DISPATCH_METHOD, &none, &result, nullptr, nullptr),
            DISP_E_BADPARAMCOUNT);  // GetNextDataBuffers has two [out] parameters
}

TEST(ChannelResamplerClass, AggregatesUnderAnOuterObject) {
  CountingOuter outer;
  ComPtr<IUnknown> inner;
  ComPtr<IChannelResampler> refused;
  EXPECT_EQ(CreateChannelResamplerInstance(&outer, IID_IChannelResampler, refused.put_void()),
            CLASS_E_NOAGGREGATION);
  ASSERT_EQ(CreateChannelResamplerInstance(&outer, IID_IUnknown, inner.put_void()), S_OK);
  outer.inner = inner.get();
  EXPECT_EQ(outer.refs, 1u);  // the inner object holds no reference on its outer

  IChannelResampler* resampler = nullptr;
  ASSERT_EQ(inner->QueryInterface(IID_IChannelResampler, reinterpret_cast<void**>(&resampler)),
            S_OK);
  EXPECT_EQ(outer.refs, 2u);  // interfaces of the inner object count on the outer
  IUnknown* identity = nullptr;
  ASSERT_EQ(resampler->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&identity)), S_OK);
  EXPECT_EQ(identity, static_cast<IUnknown*>(&outer));
  identity->Release();
  resampler->Release();
  EXPECT_EQ(outer.refs, 1u);
}

}  // namespace
}  // namespace mlr::resampler::test
