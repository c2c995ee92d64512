// The module entry points: class objects, unloading, aggregation,
// self-registration and activation through the registry.
#include <fstream>
#include <string>

#include "LegacyRecording.h"
#include "platform/com_ptr.h"
#include "platform/module_lock.h"
#include "server/module.h"
#include "testing/krf_writer.h"
#include "tests/platform/registry_fixture.h"
#include "tests/platform/test_objects.h"

namespace {

using mlr::ComPtr;

TEST(ClassObjects, ServedForTheCreatableClassesOnly) {
  ComPtr<IClassFactory> factory, again;
  ASSERT_EQ(DllGetClassObject(CLSID_KrfLoader, IID_IClassFactory, factory.put_void()), S_OK);
  ASSERT_EQ(DllGetClassObject(CLSID_KrfLoader, IID_IUnknown, again.put_void()), S_OK);
  EXPECT_EQ(static_cast<IUnknown*>(factory.get()), again.get());  // cached
  ComPtr<IKrfLoader> loader;
  ASSERT_EQ(factory->CreateInstance(nullptr, IID_IKrfLoader, loader.put_void()), S_OK);
  ComPtr<IDispatch> as_dispatch;
  EXPECT_EQ(factory->CreateInstance(nullptr, IID_IDispatch, as_dispatch.put_void()), S_OK);
  ComPtr<IRecording> wrong;
  EXPECT_EQ(factory->CreateInstance(nullptr, IID_IRecording, wrong.put_void()), E_NOINTERFACE);
  EXPECT_FALSE(wrong);

  for (const CLSID* clsid : {&CLSID_SaveRecordingProgress, &CLSID_Recording, &CLSID_ChannelGroup,
                             &CLSID_Markers, &IID_IKrfLoader}) {
    void* p = reinterpret_cast<void*>(1);
    EXPECT_EQ(DllGetClassObject(*clsid, IID_IClassFactory, &p), CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(p, nullptr);
  }
  EXPECT_EQ(DllGetClassObject(CLSID_KrfLoader, IID_IClassFactory, nullptr), E_POINTER);
  ComPtr<IStream> not_a_factory;
  EXPECT_EQ(DllGetClassObject(CLSID_KrfLoader, IID_IStream, not_a_factory.put_void()),
            E_NOINTERFACE);
}

TEST(ClassObjects, UnloadWaitsForObjectsAndServerLocks) {
  ASSERT_EQ(DllCanUnloadNow(), S_OK);
  ComPtr<IClassFactory> factory;
  ASSERT_EQ(DllGetClassObject(CLSID_KrfLoader, IID_IClassFactory, factory.put_void()), S_OK);
  EXPECT_EQ(DllCanUnloadNow(), S_OK);  // a class object alone does not hold the module

  ASSERT_EQ(factory->LockServer(TRUE), S_OK);
  EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
  ASSERT_EQ(factory->LockServer(FALSE), S_OK);
  EXPECT_EQ(DllCanUnloadNow(), S_OK);

  ComPtr<IKrfLoader> loader;
  ASSERT_EQ(factory->CreateInstance(nullptr, IID_IKrfLoader, loader.put_void()), S_OK);
  EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
  loader = nullptr;
  EXPECT_EQ(DllCanUnloadNow(), S_OK);
}

TEST(ClassObjects, LoaderCanBeAggregated) {
  ComPtr<IClassFactory> factory;
  ASSERT_EQ(DllGetClassObject(CLSID_KrfLoader, IID_IClassFactory, factory.put_void()), S_OK);
  CountingOuter outer;
  void* p = reinterpret_cast<void*>(1);
  EXPECT_EQ(factory->CreateInstance(&outer, IID_IKrfLoader, &p), CLASS_E_NOAGGREGATION);
  EXPECT_EQ(p, nullptr);

  ASSERT_EQ(factory->CreateInstance(&outer, IID_IUnknown, reinterpret_cast<void**>(&outer.inner)),
            S_OK);
  EXPECT_EQ(outer.refs, 1u);  // the inner reference is the inner object's own
  EXPECT_EQ(DllCanUnloadNow(), S_FALSE);

  IKrfLoader* loader = nullptr;
  ASSERT_EQ(outer.inner->QueryInterface(IID_IKrfLoader, reinterpret_cast<void**>(&loader)), S_OK);
  EXPECT_EQ(outer.refs, 2u);  // handed-out interfaces count on the outer object
  IUnknown* identity = nullptr;
  ASSERT_EQ(loader->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&identity)), S_OK);
  EXPECT_EQ(identity, &outer);  // one identity: the outer object's
  identity->Release();
  loader->Release();
  EXPECT_EQ(outer.refs, 1u);

  EXPECT_EQ(outer.inner->Release(), 0u);
  EXPECT_EQ(DllCanUnloadNow(), S_OK);
}

class Registration : public PrivateRegistry {};

const std::u16string kLoaderKey = u"CLSID\\{4B524602-0016-4D4C-9A52-6C6567616379}";
const std::u16string kLibKey = u"TypeLib\\{4B524600-0000-4D4C-9A52-6C6567616379}";

std::u16string OwnPath() {
  char16_t path[4096];
  const DWORD n = GetModuleFileNameW(nullptr, path, 4096);
  return std::u16string(path, n);
}

TEST_F(Registration, RegisterTwiceThenUnregister) {
  // Something stale inside the class's tree, which registration replaces.
  ASSERT_TRUE(CreateKey(kLoaderKey + u"\\Stale"));

  ASSERT_EQ(DllRegisterServer(), S_OK);
  ASSERT_EQ(DllRegisterServer(), S_OK);
  EXPECT_EQ(Value(kLoaderKey), u"KrfLoader Class");
  EXPECT_EQ(SubKeyCount(kLoaderKey), 5);  // ProgID, VersionIndependentProgID, Programmable,
                                          // InprocServer32, TypeLib: one tree
  EXPECT_EQ(SubKeyCount(u"CLSID"), 2);    // the loader and the resampler
  EXPECT_EQ(Value(u"Movaris.Recording.ChannelResampler\\CLSID"),
            u"{4B524602-0017-4D4C-9A52-6C6567616379}");
  EXPECT_EQ(Value(kLoaderKey + u"\\ProgID"), u"Movaris.Legacy.KrfLoader.1");
  EXPECT_EQ(Value(kLoaderKey + u"\\VersionIndependentProgID"), u"Movaris.Legacy.KrfLoader");
  EXPECT_EQ(Value(kLoaderKey + u"\\InprocServer32"), OwnPath());
  EXPECT_EQ(Value(kLoaderKey + u"\\InprocServer32", u"ThreadingModel"), u"Free");
  EXPECT_EQ(Value(kLoaderKey + u"\\TypeLib"), u"{4B524600-0000-4D4C-9A52-6C6567616379}");
  EXPECT_EQ(Value(u"Movaris.Legacy.KrfLoader\\CurVer"), u"Movaris.Legacy.KrfLoader.1");
  EXPECT_EQ(Value(kLibKey + u"\\1.0"), u"Movaris Legacy Recording Definition");

  CLSID clsid;
  ASSERT_EQ(CLSIDFromProgID(u"Movaris.Legacy.KrfLoader.1", &clsid), S_OK);
  EXPECT_EQ(clsid, CLSID_KrfLoader);
  BSTR path = nullptr;
  ASSERT_EQ(QueryPathOfRegTypeLib(LIBID_LegacyRecording, 1, 0, 0, &path), S_OK);
  EXPECT_EQ(std::u16string(path), OwnPath());
  SysFreeString(path);

  ASSERT_EQ(DllUnregisterServer(), S_OK);
  EXPECT_TRUE(KeyExists(u"CLSID"));
  EXPECT_EQ(SubKeyCount(u"CLSID"), 0);
  EXPECT_FALSE(KeyExists(u"Movaris.Legacy.KrfLoader"));
  EXPECT_FALSE(KeyExists(u"Movaris.Legacy.KrfLoader.1"));
  EXPECT_FALSE(KeyExists(u"Movaris.Recording.ChannelResampler"));
  EXPECT_FALSE(KeyExists(kLibKey));
  EXPECT_EQ(DllUnregisterServer(), S_OK);
}

TEST_F(Registration, CorruptRegistryFailsRegistrationCleanly) {
  { std::ofstream(path_) << "not a registry\n"; }
  EXPECT_EQ(DllRegisterServer(), HRESULT_FROM_WIN32(ERROR_BADDB));
  EXPECT_EQ(DllUnregisterServer(), HRESULT_FROM_WIN32(ERROR_BADDB));
}

TEST_F(Registration, CoCreateInstanceFindsTheRegisteredLibrary) {
  ComPtr<IUnknown> none;
  EXPECT_EQ(CoCreateInstance(CLSID_KrfLoader, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown,
                             none.put_void()),
            REGDB_E_CLASSNOTREG);

  // Register the shared library (not this executable) and create by ProgID.
  const std::string library = MLR_BINARY_DIR "/libmovaLegacyRecording.so";
  HMODULE module = LoadLibraryA(library.c_str());
  ASSERT_NE(module, nullptr) << library;
  auto reg = reinterpret_cast<HRESULT (*)()>(
      reinterpret_cast<void (*)()>(GetProcAddress(module, "DllRegisterServer")));
  ASSERT_NE(reg, nullptr);
  ASSERT_EQ(reg(), S_OK);

  CLSID clsid;
  ASSERT_EQ(CLSIDFromProgID(u"Movaris.Legacy.KrfLoader", &clsid), S_OK);
  ComPtr<IKrfLoader> loader;
  ASSERT_EQ(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IKrfLoader,
                             loader.put_void()),
            S_OK);
  const std::string file = dir_.Path("sample.krf");
  ASSERT_EQ(mlr::testing::WriteRecordingFile(file, mlr::testing::SampleRecording()), S_OK);
  const std::u16string wide = mlr::testing::WidePath(file);
  BSTR name = SysAllocString(wide.c_str());
  ComPtr<IRecording> recording;
  ASSERT_EQ(loader->OpenRecording(name, recording.put()), S_OK);
  SysFreeString(name);
  // The loader came from the library, whose module now holds it.
  auto can_unload = reinterpret_cast<HRESULT (*)()>(
      reinterpret_cast<void (*)()>(GetProcAddress(module, "DllCanUnloadNow")));
  EXPECT_EQ(can_unload(), S_FALSE);
  recording = nullptr;
  loader = nullptr;
  EXPECT_EQ(can_unload(), S_OK);
}

}  // namespace
