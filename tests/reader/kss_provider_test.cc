// The conversion path: a file of another format opened through the KSS
// storage provider that the reader creates by class identifier (here a
// stand-in, built on tests/api's fake objects, registered in its place), with
// the read-only retry, the wide index of converted files and the recording's
// TotalSize through it.
#include <fstream>

#include "platform/class_registry.h"
#include "reader/kss_storage_provider.h"
#include "reader/text_convert.h"
#include "tests/api/fake_recording.h"
#include "tests/reader/reader_fixture.h"

namespace mlr::reader::test {
namespace {

// Opens `target` for any file name, refusing the read-write mode word so
// that the reader retries with the read-only one; reports 5000 bytes. One
// instance serves every creation.
class FakeProvider final : public fake::Object<IKssStorageProvider, IID_IKssStorageProvider> {
 public:
  static std::string target;
  static std::vector<LONG> modes;

  static HRESULT Create(IUnknown* outer, REFIID riid, void** ppv) {
    if (outer) return CLASS_E_NOAGGREGATION;
    static FakeProvider provider;
    return provider.QueryInterface(riid, ppv);
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
  const std::string foreign = Path("foreign.dat");
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
