// Thread error info, apartments, the class table, the global interface
// table, memory streams, GUID text and PROPVARIANT.
#include "platform/class_registry.h"
#include "platform/com_ptr.h"
#include "platform/error_info.h"
#include "platform/win.h"
#include "tests/platform/test_objects.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

TEST(ErrorInfo, GetHandsOverAndClearsPerThread) {
  mlr::ComPtr<ICreateErrorInfo> create;
  ASSERT_EQ(CreateErrorInfo(create.put()), S_OK);
  ASSERT_EQ(create->SetDescription(const_cast<LPOLESTR>(OLESTR("broken"))), S_OK);
  ASSERT_EQ(create->SetHelpContext(17), S_OK);
  mlr::ComPtr<IErrorInfo> info = create.As<IErrorInfo>();
  ASSERT_TRUE(info);
  ASSERT_EQ(SetErrorInfo(0, info.get()), S_OK);

  // Another thread has its own (empty) slot.
  HRESULT other = E_FAIL;
  std::thread([&] {
    IErrorInfo* p = nullptr;
    other = GetErrorInfo(0, &p);
  }).join();
  EXPECT_EQ(other, S_FALSE);

  IErrorInfo* got = nullptr;
  ASSERT_EQ(GetErrorInfo(0, &got), S_OK);
  mlr::ComPtr<IErrorInfo> owned = mlr::Adopt(got);
  EXPECT_EQ(got, info.get());
  BSTR text = nullptr;
  ASSERT_EQ(got->GetDescription(&text), S_OK);
  EXPECT_EQ(std::u16string(text), u"broken");
  SysFreeString(text);
  DWORD context = 0;
  got->GetHelpContext(&context);
  EXPECT_EQ(context, 17u);
  IErrorInfo* again = reinterpret_cast<IErrorInfo*>(1);
  EXPECT_EQ(GetErrorInfo(0, &again), S_FALSE);
  EXPECT_EQ(again, nullptr);

  // SetErrorInfo(null) clears.
  SetErrorInfo(0, info.get());
  SetErrorInfo(0, nullptr);
  EXPECT_EQ(GetErrorInfo(0, &again), S_FALSE);

  EXPECT_EQ(mlr::ReportErrorUtf8(E_INVALIDARG, IID_IDispatch, "Src", "Déjà vu"), E_INVALIDARG);
  ASSERT_EQ(GetErrorInfo(0, &got), S_OK);
  owned.attach(got);
  ASSERT_EQ(got->GetDescription(&text), S_OK);
  EXPECT_EQ(std::u16string(text), u"D\u00e9j\u00e0 vu");
  SysFreeString(text);
  GUID guid;
  got->GetGUID(&guid);
  EXPECT_EQ(guid, IID_IDispatch);
}

TEST(Apartment, InitialisationCountsPerThread) {
  std::thread([] {
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_FALSE);
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), RPC_E_CHANGED_MODE);
    CoUninitialize();
    CoUninitialize();
    // Fully uninitialised: a new model may be chosen.
    EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
    CoUninitialize();
  }).join();
}

CountedObject g_created;
int g_creations = 0;

HRESULT CreateCounted(IUnknown* outer, REFIID riid, void** ppv) {
  if (outer) return CLASS_E_NOAGGREGATION;
  ++g_creations;
  return g_created.QueryInterface(riid, ppv);
}

constexpr CLSID kTestClass = {0x11111111, 0x2222, 0x3333, {4, 4, 5, 5, 5, 5, 5, 5}};

TEST(ClassTable, CreateInstanceThroughRegisteredFunction) {
  IDispatch* p = nullptr;
  EXPECT_EQ(CoCreateInstance(kTestClass, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch,
                             reinterpret_cast<void**>(&p)),
            REGDB_E_CLASSNOTREG);
  ASSERT_EQ(mlr::RegisterClassObject(kTestClass, &CreateCounted), S_OK);
  ASSERT_EQ(CoCreateInstance(kTestClass, nullptr, CLSCTX_ALL, IID_IDispatch,
                             reinterpret_cast<void**>(&p)),
            S_OK);
  EXPECT_EQ(p, static_cast<IDispatch*>(&g_created));
  p->Release();
  EXPECT_EQ(CoCreateInstance(kTestClass, nullptr, CLSCTX_ALL, IID_IStream,
                             reinterpret_cast<void**>(&p)),
            E_NOINTERFACE);
  EXPECT_EQ(p, nullptr);
  CountedObject outer;
  EXPECT_EQ(CoCreateInstance(kTestClass, &outer, CLSCTX_ALL, IID_IUnknown,
                             reinterpret_cast<void**>(&p)),
            CLASS_E_NOAGGREGATION);

  // The class object answers IClassFactory.
  mlr::ComPtr<IClassFactory> factory;
  ASSERT_EQ(CoGetClassObject(kTestClass, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory,
                             factory.put_void()),
            S_OK);
  mlr::ComPtr<IUnknown> made;
  ASSERT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, made.put_void()), S_OK);
  made.reset();
  factory.reset();

  EXPECT_EQ(mlr::RevokeClassObject(kTestClass), S_OK);
  EXPECT_EQ(mlr::RevokeClassObject(kTestClass), S_FALSE);
  EXPECT_EQ(CoCreateInstance(kTestClass, nullptr, CLSCTX_ALL, IID_IDispatch,
                             reinterpret_cast<void**>(&p)),
            REGDB_E_CLASSNOTREG);
  EXPECT_EQ(g_creations, 3);
  EXPECT_EQ(g_created.Count(), 1u);
}

TEST(GlobalInterfaceTable, RegisterGetRevokeAcrossThreads) {
  mlr::ComPtr<IGlobalInterfaceTable> git;
  ASSERT_EQ(CoCreateInstance(CLSID_StdGlobalInterfaceTable, nullptr, CLSCTX_INPROC_SERVER,
                             IID_IGlobalInterfaceTable, git.put_void()),
            S_OK);
  CountedObject object;
  DWORD cookie = 0;
  ASSERT_EQ(git->RegisterInterfaceInGlobal(static_cast<IDispatch*>(&object), IID_IDispatch,
                                           &cookie),
            S_OK);
  EXPECT_NE(cookie, 0u);
  EXPECT_EQ(object.Count(), 2u);

  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 100; ++i) {
        IDispatch* p = nullptr;
        ASSERT_EQ(git->GetInterfaceFromGlobal(cookie, IID_IDispatch, reinterpret_cast<void**>(&p)),
                  S_OK);
        p->Release();
      }
    });
  }
  for (auto& t : threads) t.join();
  EXPECT_EQ(object.Count(), 2u);

  IDispatch* p = nullptr;
  ASSERT_EQ(git->GetInterfaceFromGlobal(cookie, IID_IDispatch, reinterpret_cast<void**>(&p)), S_OK);
  EXPECT_EQ(object.Count(), 3u);  // a get adds a reference
  p->Release();
  EXPECT_EQ(git->RevokeInterfaceFromGlobal(cookie), S_OK);
  EXPECT_EQ(object.Count(), 1u);
  EXPECT_EQ(git->RevokeInterfaceFromGlobal(cookie), E_INVALIDARG);
  EXPECT_EQ(git->GetInterfaceFromGlobal(cookie, IID_IDispatch, reinterpret_cast<void**>(&p)),
            E_INVALIDARG);
}

TEST(MemoryStream, CloneSharesDataWithItsOwnSeekPointer) {
  mlr::ComPtr<IStream> s;
  ASSERT_EQ(CreateStreamOnHGlobal(nullptr, TRUE, s.put()), S_OK);
  ULONG n = 0;
  ASSERT_EQ(s->Write("hello", 5, &n), S_OK);
  EXPECT_EQ(n, 5u);
  mlr::ComPtr<IStream> clone;
  ASSERT_EQ(s->Clone(clone.put()), S_OK);
  char buf[16] = {};
  ASSERT_EQ(clone->Read(buf, sizeof buf, &n), S_OK);
  EXPECT_EQ(n, 0u);  // the clone starts at the original's position (5)
  LARGE_INTEGER zero{};
  ASSERT_EQ(clone->Seek(zero, STREAM_SEEK_SET, nullptr), S_OK);
  ASSERT_EQ(s->Write(" world", 6, &n), S_OK);  // seen through the clone
  ASSERT_EQ(clone->Read(buf, sizeof buf, &n), S_OK);
  EXPECT_EQ(std::string(buf, n), "hello world");

  STATSTG st;
  ASSERT_EQ(s->Stat(&st, STATFLAG_NONAME), S_OK);
  EXPECT_EQ(st.cbSize.QuadPart, 11u);
  EXPECT_EQ(st.type, static_cast<DWORD>(STGTY_STREAM));

  // Writing past the end leaves a zero gap; SetSize truncates.
  LARGE_INTEGER at;
  at.QuadPart = 20;
  ASSERT_EQ(s->Seek(at, STREAM_SEEK_SET, nullptr), S_OK);
  ASSERT_EQ(s->Write("!", 1, &n), S_OK);
  ULARGE_INTEGER size;
  size.QuadPart = 4;
  ASSERT_EQ(s->SetSize(size), S_OK);
  ASSERT_EQ(s->Stat(&st, STATFLAG_NONAME), S_OK);
  EXPECT_EQ(st.cbSize.QuadPart, 4u);
  at.QuadPart = -1;
  EXPECT_EQ(s->Seek(at, STREAM_SEEK_SET, nullptr), STG_E_INVALIDFUNCTION);

  // CopyTo moves bytes between streams.
  mlr::ComPtr<IStream> target;
  ASSERT_EQ(CreateStreamOnHGlobal(nullptr, TRUE, target.put()), S_OK);
  ASSERT_EQ(s->Seek(zero, STREAM_SEEK_SET, nullptr), S_OK);
  ULARGE_INTEGER all, read, written;
  all.QuadPart = ~0ull;
  ASSERT_EQ(s->CopyTo(target.get(), all, &read, &written), S_OK);
  EXPECT_EQ(read.QuadPart, 4u);
  EXPECT_EQ(written.QuadPart, 4u);
  ASSERT_EQ(target->Seek(zero, STREAM_SEEK_SET, nullptr), S_OK);
  ASSERT_EQ(target->Read(buf, sizeof buf, &n), S_OK);
  EXPECT_EQ(std::string(buf, n), "hell");

  EXPECT_EQ(CreateStreamOnHGlobal(reinterpret_cast<HGLOBAL>(1), TRUE, s.put()), E_INVALIDARG);
}

TEST(Guid, TextRoundTrip) {
  OLECHAR text[39];
  ASSERT_EQ(StringFromGUID2(IID_IDispatch, text, 39), 39);
  EXPECT_EQ(std::u16string(text), u"{00020400-0000-0000-C000-000000000046}");
  CLSID back;
  ASSERT_EQ(CLSIDFromString(text, &back), S_OK);
  EXPECT_EQ(back, IID_IDispatch);
  EXPECT_EQ(CLSIDFromString(OLESTR("{00020400-0000-0000-C000-00000000004}"), &back),
            CO_E_CLASSSTRING);
  EXPECT_EQ(StringFromGUID2(IID_IDispatch, text, 38), 0);
}

TEST(PropVariant, CopyIsDeepAndClearFrees) {
  PROPVARIANT a;
  PropVariantInit(&a);
  a.vt = VT_LPSTR;
  a.pszVal = static_cast<LPSTR>(CoTaskMemAlloc(6));
  std::memcpy(a.pszVal, "title", 6);
  PROPVARIANT b;
  ASSERT_EQ(PropVariantCopy(&b, &a), S_OK);
  EXPECT_NE(b.pszVal, a.pszVal);
  EXPECT_STREQ(b.pszVal, "title");
  EXPECT_EQ(PropVariantClear(&a), S_OK);
  EXPECT_EQ(a.vt, VT_EMPTY);
  EXPECT_EQ(PropVariantClear(&b), S_OK);

  PROPVARIANT v;
  PropVariantInit(&v);
  v.vt = VT_VECTOR | VT_LPWSTR;
  v.calpwstr.cElems = 2;
  v.calpwstr.pElems = static_cast<LPWSTR*>(CoTaskMemAlloc(2 * sizeof(LPWSTR)));
  for (int i = 0; i < 2; ++i) {
    v.calpwstr.pElems[i] = static_cast<LPWSTR>(CoTaskMemAlloc(3 * sizeof(WCHAR)));
    std::memcpy(v.calpwstr.pElems[i], u"ab", 3 * sizeof(WCHAR));
  }
  PROPVARIANT w;
  ASSERT_EQ(PropVariantCopy(&w, &v), S_OK);
  EXPECT_EQ(std::u16string(w.calpwstr.pElems[1]), u"ab");
  PropVariantClear(&v);
  PropVariantClear(&w);

  PROPVARIANT odd;
  PropVariantInit(&odd);
  odd.vt = 0x7F;
  EXPECT_EQ(PropVariantClear(&odd), DISP_E_BADVARTYPE);
}

}  // namespace
