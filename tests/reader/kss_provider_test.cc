// The KSS storage provider as the reader and the saver reach it: created by
// class identifier, opening, creating (4096-byte sectors) and deleting
// files, and reporting sizes; and the recording's TotalSize through it.
#include <sys/stat.h>

#include <fstream>

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

TEST_F(ReaderTest, TotalSizeIsTheFileSizeInKilobytes) {
  const std::string path = Write(testing::SampleRecording(), "sized");
  struct stat st {};
  ASSERT_EQ(stat(path.c_str(), &st), 0);
  ComPtr<IRecording> r;
  ASSERT_EQ(Open(path, &r), S_OK);
  LONG kb = -1;
  ASSERT_EQ(r->get_TotalSize(&kb), S_OK);
  EXPECT_EQ(kb, static_cast<LONG>(st.st_size / 1024));
  EXPECT_EQ(r->get_TotalSize(nullptr), E_POINTER);
}

}  // namespace
}  // namespace mlr::reader::test
