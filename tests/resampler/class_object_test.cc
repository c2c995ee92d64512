// The resampler as a component: its class object, creation by class
// identifier, aggregation, late-bound calls; and several resamplers on one
// file recording from several client threads.
#include <gtest/gtest.h>

#include <stdlib.h>

#include <filesystem>
#include <thread>

#include "server/module.h"
#include "reader/text_convert.h"
#include "resampler/channel_resampler.h"
#include "testing/krf_builder.h"
#include "testing/krf_writer.h"
#include "tests/resampler/resampler_fixture.h"

namespace mlr::resampler::test {
namespace {

// An aggregating object that counts the references taken on it.
class Outer : public IUnknown {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
    if (riid == IID_IUnknown) {
      *ppv = static_cast<IUnknown*>(this);
      AddRef();
      return S_OK;
    }
    return inner->QueryInterface(riid, ppv);
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++refs; }
  ULONG STDMETHODCALLTYPE Release() override { return --refs; }
  ULONG refs = 1;
  IUnknown* inner = nullptr;
};

TEST(ChannelResamplerClass, IsServedByClassObjectAndCreatableByClassIdentifier) {
  ComPtr<IClassFactory> factory;
  ASSERT_EQ(DllGetClassObject(CLSID_ChannelResampler, IID_IClassFactory, factory.put_void()),
            S_OK);
  ComPtr<IChannelResampler> direct;
  EXPECT_EQ(factory->CreateInstance(nullptr, IID_IChannelResampler, direct.put_void()), S_OK);
  EXPECT_TRUE(direct);

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
  VARIANT arg;
  VariantInit(&arg);
  arg.vt = VT_R8;
  arg.dblVal = 0.25;
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
  Outer outer;
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

TEST(ChannelResamplerClass, SeveralResamplersOnOneFileFromSeveralThreadsAgree) {
  char dir[] = "/tmp/resampler_test_XXXXXX";
  ASSERT_NE(mkdtemp(dir), nullptr);
  const std::string path = std::string(dir) + "/sample.krf";
  ASSERT_EQ(mlr::testing::WriteRecordingFile(path, mlr::testing::SampleRecording()), S_OK);

  ComPtr<IRecording> rec;
  {
    ComPtr<IClassFactory> factory;
    ComPtr<IKrfLoader> loader;
    ASSERT_EQ(DllGetClassObject(CLSID_KrfLoader, IID_IClassFactory, factory.put_void()), S_OK);
    ASSERT_EQ(factory->CreateInstance(nullptr, IID_IKrfLoader, loader.put_void()), S_OK);
    BSTR name = SysAllocString(mlr::reader::AnsiToUtf16(path).c_str());
    ASSERT_EQ(loader->OpenRecording(name, rec.put()), S_OK);
    SysFreeString(name);
  }
  std::vector<ComPtr<IChannelInfo>> channels = Channels(rec.get(), 1);
  channels.push_back(Channel(rec.get(), 2, 1));
  // 0.5 ms steps over both segments and the gap: 5399 items, groups at
  // 1 kHz and 10 Hz, a vertical normset change at 1 s.
  auto run = [&] {
    ComPtr<IChannelResampler> r = MakeResampler(0.0, 2.699, 0.0005);
    EXPECT_EQ(Start(r.get(), channels), S_OK);
    return Collect(r.get());
  };
  const Items reference = run();
  ASSERT_EQ(reference.analog.size(), 5399u);
  ASSERT_EQ(reference.events.size(), 5399u);

  std::vector<Items> results(4);
  std::vector<std::thread> clients;
  for (Items& result : results) {
    clients.emplace_back([&run, &result] {
      CoInitializeEx(nullptr, COINIT_MULTITHREADED);
      result = run();
      CoUninitialize();
    });
  }
  for (std::thread& t : clients) t.join();
  for (const Items& result : results) {
    EXPECT_EQ(result.analog, reference.analog);
    EXPECT_EQ(result.events, reference.events);
  }
  rec = nullptr;
  std::error_code ec;
  std::filesystem::remove_all(dir, ec);
}

}  // namespace
}  // namespace mlr::resampler::test
