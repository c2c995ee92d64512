// The KSS storage provider as the reader and the saver reach it: created by
// class identifier, opening, creating (4096-byte sectors) and deleting
// files, and reporting sizes; and the recording's TotalSize through it.
#include <sys/stat.h>

#include <fstream>

#include "platform/class_registry.h"
#include "reader/kss_storage_provider.h"
#include "reader/text_convert.h"
#include "tests/reader/reader_fixture.h"

namespace mlr::reader::test {
namespace {

class Bstr {
 public:
  explicit Bstr(const std::string& s) : b_(SysAllocString(AnsiToUtf16(s).c_str())) {}
  ~Bstr() { SysFreeString(b_); }
  operator BSTR() const { return b_; }

 private:
  BSTR b_;
};

TEST_F(ReaderTest, KssProviderOperations) {
  ComPtr<IKssStorageProvider> kss;
  ASSERT_EQ(CreateKssStorageProvider(kss.put()), S_OK);
  ASSERT_TRUE(kss);
  // Once registered, any client creates it by class identifier.
  ComPtr<IKssStorageProvider> again;
  EXPECT_EQ(CoCreateInstance(CLSID_KssStorageProvider, nullptr, CLSCTX_ALL,
                             IID_IKssStorageProvider, again.put_void()),
            S_OK);

  // Sizes.
  const std::string small = dir_ + "/small.bin";
  std::ofstream(small, std::ios::binary) << std::string(1023, 'x');
  LONGLONG size = -1;
  EXPECT_EQ(kss->FileSize(Bstr(small), &size), S_OK);
  EXPECT_EQ(size, 1023);
  EXPECT_TRUE(FAILED(kss->FileSize(Bstr(dir_ + "/none"), &size)));
  EXPECT_EQ(size, 0);

  // Create, write, reopen read-only and read-write; version 4 (4096-byte sectors).
  const std::string made = dir_ + "/made.krf";
  const std::u16string wide = AnsiToUtf16(made);
  ComPtr<IStorage> stg;
  ASSERT_EQ(kss->CreateStorage(wide.c_str(), 0x24701, stg.put()), S_OK);
  ComPtr<IStream> s;
  ASSERT_EQ(stg->CreateStream(u"X", STGM_CREATE | STGM_READWRITE | STGM_SHARE_EXCLUSIVE, 0, 0,
                              s.put()),
            S_OK);
  ULONG written = 0;
  s->Write("abc", 3, &written);
  s.reset();
  stg.reset();
  std::ifstream header(made, std::ios::binary);
  char bytes[32] = {};
  header.read(bytes, sizeof bytes);
  EXPECT_EQ(static_cast<uint8_t>(bytes[26]), 4);  // major version 4
  EXPECT_EQ(static_cast<uint8_t>(bytes[30]), 12);  // sector shift 12
  ASSERT_EQ(kss->OpenStorage(Bstr(made), 0x10001, stg.put()), S_OK);
  STATSTG st{};
  stg->Stat(&st, STATFLAG_NONAME);
  EXPECT_EQ(st.grfMode & (STGM_WRITE | STGM_READWRITE), 0u);
  stg.reset();
  ASSERT_EQ(kss->OpenStorage(Bstr(made), 0x20001, stg.put()), S_OK);
  stg->Stat(&st, STATFLAG_NONAME);
  EXPECT_EQ(st.grfMode & STGM_READWRITE, static_cast<DWORD>(STGM_READWRITE));
  stg.reset();
  EXPECT_EQ(kss->DeleteFile(wide.c_str()), S_OK);
  struct stat gone {};
  EXPECT_NE(stat(made.c_str(), &gone), 0);
  EXPECT_EQ(kss->OpenStorage(Bstr(made), 0x10001, stg.put()), STG_E_FILENOTFOUND);
  EXPECT_FALSE(stg);
}

}  // namespace
}  // namespace mlr::reader::test

// --- The conversion path, with a stand-in provider -----------------------------

namespace mlr::reader::test {
namespace {

// Opens `target` for any file name, refusing the read-write mode word so
// that the reader retries with the read-only one; reports 5000 bytes.
class FakeProvider final : public IKssStorageProvider {
 public:
  static std::string target;
  static std::vector<LONG> modes;

  static HRESULT Create(IUnknown* outer, REFIID riid, void** ppv) {
    if (!ppv) return E_POINTER;
    *ppv = nullptr;
    if (outer) return CLASS_E_NOAGGREGATION;
    auto* p = new FakeProvider();
    const HRESULT hr = p->QueryInterface(riid, ppv);
    p->Release();
    return hr;
  }
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
    if (riid == IID_IUnknown || riid == IID_IDispatch || riid == IID_IKssStorageProvider) {
      *ppv = static_cast<IKssStorageProvider*>(this);
      AddRef();
      return S_OK;
    }
    *ppv = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++refs_; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --refs_;
    if (left == 0) delete this;
    return left;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                                   UINT*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE OpenStorage(BSTR, LONG Mode, IStorage** Storage) override {
    *Storage = nullptr;
    modes.push_back(Mode);
    if (Mode == 0x20001) return STG_E_ACCESSDENIED;
    const std::u16string wide = AnsiToUtf16(target);
    return StgOpenStorage(wide.c_str(), nullptr, STGM_READ | STGM_SHARE_EXCLUSIVE, nullptr, 0,
                          Storage);
  }
  HRESULT STDMETHODCALLTYPE CreateStorage(const OLECHAR*, LONG, IStorage**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE DeleteFile(const OLECHAR*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE FileSize(BSTR, LONGLONG* Size) override {
    *Size = 5000;
    return S_OK;
  }

 private:
  ~FakeProvider() = default;
  ULONG refs_ = 1;
};
std::string FakeProvider::target;
std::vector<LONG> FakeProvider::modes;

TEST_F(ReaderTest, ConversionPathUsesTheProviderAndWideIndexes) {
  // A converted file: 16-byte index entries, no version record.
  testing::RecordingSpec spec = testing::SampleRecording();
  spec.version.reset();
  spec.app_name.reset();
  spec.wide_index = true;
  spec.groups[0].reduction_factor = 1;
  FakeProvider::target = Write(spec, "converted");
  FakeProvider::modes.clear();
  const std::string foreign = dir_ + "/foreign.dat";
  std::ofstream(foreign) << "a file of another format";

  ComPtr<IKssStorageProvider> real;
  ASSERT_EQ(CreateKssStorageProvider(real.put()), S_OK);  // the real one is registered
  ASSERT_EQ(mlr::RegisterClassObject(CLSID_KssStorageProvider, &FakeProvider::Create), S_OK);
  ComPtr<IRecording> r;
  const HRESULT hr = Open(foreign, &r);
  LONG kb = -1;
  if (r) r->get_TotalSize(&kb);
  std::vector<int16_t> values;
  if (r) {
    ComPtr<IChannelGroup> g = Group(r.get(), 1);
    Mux m = GetMux(g.get(), {Channel(g.get(), 2).get()}, 2, 1, 3, 1);
    values = m.values;
  }
  r.reset();
  mlr::RegisterClassObject(CLSID_KssStorageProvider, &CreateKssStorageProviderInstance);

  ASSERT_EQ(hr, S_OK);
  EXPECT_EQ(FakeProvider::modes, (std::vector<LONG>{0x20001, 0x10001}));
  EXPECT_EQ(kb, 4);  // 5000 bytes
  EXPECT_EQ(values, Pick(spec.groups[0].segments[1], 3, {1}, 0, 3));
}

}  // namespace
}  // namespace mlr::reader::test
