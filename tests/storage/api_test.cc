// The structured-storage interfaces as callers use them: StgOpenStorage and
// StgCreateDocfile with their Windows error codes, access modes, element
// operations, stream members, reference counting and concurrent streams.
#include "platform/com_ptr.h"
#include "platform/win.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

#include "testing/temp_dir.h"

namespace {

using mlr::ComPtr;

std::u16string Wide(const std::string& s) { return std::u16string(s.begin(), s.end()); }

class StgApi : public ::testing::Test {
 protected:
  std::u16string Path(const std::string& name) const { return Wide(dir_.Path(name)); }
  std::string Narrow(const std::string& name) const { return dir_.Path(name); }
  HRESULT Create(const std::string& name, IStorage** out) const {
    return StgCreateDocfile(Path(name).c_str(), STGM_CREATE | STGM_SHARE_EXCLUSIVE | STGM_READWRITE, 0, out);
  }
  HRESULT OpenRead(const std::string& name, IStorage** out) const {
    return StgOpenStorage(Path(name).c_str(), nullptr, STGM_SHARE_EXCLUSIVE | STGM_READ, nullptr, 0, out);
  }

  mlr::testing::ScopedTempDir dir_;
};

std::vector<uint8_t> Bytes(size_t n, uint8_t seed) {
  std::vector<uint8_t> v(n);
  for (size_t i = 0; i < n; ++i) v[i] = static_cast<uint8_t>(seed + i * 7 + (i >> 9));
  return v;
}

void Put(IStorage* stg, const char16_t* name, const std::vector<uint8_t>& data) {
  ComPtr<IStream> s;
  ASSERT_EQ(stg->CreateStream(name, STGM_CREATE | STGM_SHARE_EXCLUSIVE | STGM_WRITE, 0, 0, s.put()), S_OK);
  ULONG written = 0;
  ASSERT_EQ(s->Write(data.data(), static_cast<ULONG>(data.size()), &written), S_OK);
  EXPECT_EQ(written, data.size());
}

std::vector<uint8_t> Get(IStorage* stg, const char16_t* name) {
  ComPtr<IStream> s;
  EXPECT_EQ(stg->OpenStream(name, nullptr, STGM_SHARE_EXCLUSIVE | STGM_READ, 0, s.put()), S_OK);
  if (!s) return {};
  STATSTG st;
  EXPECT_EQ(s->Stat(&st, STATFLAG_NONAME), S_OK);
  std::vector<uint8_t> out(static_cast<size_t>(st.cbSize.QuadPart));
  ULONG got = 0;
  EXPECT_EQ(s->Read(out.data(), static_cast<ULONG>(out.size()), &got), S_OK);
  EXPECT_EQ(got, out.size());
  return out;
}

TEST_F(StgApi, OpenErrorsAsOnWindows) {
  ComPtr<IStorage> stg;
  EXPECT_EQ(OpenRead("missing", stg.put()), STG_E_FILENOTFOUND);
  EXPECT_EQ(stg.get(), nullptr);
  std::ofstream(Narrow("text")) << std::string(2000, 'x');
  EXPECT_EQ(OpenRead("text", stg.put()), STG_E_FILEALREADYEXISTS);
  EXPECT_EQ(StgIsStorageFile(Path("text").c_str()), S_FALSE);
  EXPECT_EQ(StgIsStorageFile(Path("missing").c_str()), STG_E_FILENOTFOUND);
  EXPECT_EQ(StgOpenStorage(Path("x").c_str(), nullptr, STGM_READ, nullptr, 0, nullptr), STG_E_INVALIDPOINTER);
  EXPECT_EQ(StgOpenStorage(Path("x").c_str(), nullptr, STGM_SHARE_EXCLUSIVE | STGM_TRANSACTED | STGM_READ, nullptr, 0,
                           stg.put()),
            STG_E_INVALIDFLAG);
  EXPECT_EQ(StgOpenStorage(Wide(dir_.path()).c_str(), nullptr, STGM_SHARE_EXCLUSIVE | STGM_READWRITE, nullptr, 0,
                           stg.put()),
            STG_E_ACCESSDENIED);  // a folder

  ASSERT_EQ(Create("a.cfb", stg.put()), S_OK);
  stg = nullptr;
  EXPECT_EQ(StgIsStorageFile(Path("a.cfb").c_str()), S_OK);
  EXPECT_EQ(StgCreateDocfile(Path("a.cfb").c_str(), STGM_SHARE_EXCLUSIVE | STGM_READWRITE, 0, stg.put()),
            STG_E_FILEALREADYEXISTS);
  if (::geteuid() != 0) {  // permissions do not bind the superuser
    ::chmod(Narrow("a.cfb").c_str(), 0444);
    EXPECT_EQ(StgOpenStorage(Path("a.cfb").c_str(), nullptr, STGM_SHARE_EXCLUSIVE | STGM_READWRITE, nullptr, 0,
                             stg.put()),
              STG_E_ACCESSDENIED);
    EXPECT_EQ(OpenRead("a.cfb", stg.put()), S_OK);
  }
}

TEST_F(StgApi, ElementsAndModes) {
  ComPtr<IStorage> root;
  ASSERT_EQ(Create("e.cfb", root.put()), S_OK);
  ComPtr<IStorage> data;
  ASSERT_EQ(root->CreateStorage(u"Data", STGM_CREATE | STGM_SHARE_EXCLUSIVE | STGM_READWRITE, 0, 0, data.put()), S_OK);
  Put(data.get(), u"Intern01", Bytes(100, 1));
  Put(data.get(), u"MuxData02", Bytes(100000, 2));
  ComPtr<IStream> s;
  EXPECT_EQ(data->CreateStream(u"Intern01", STGM_SHARE_EXCLUSIVE | STGM_WRITE, 0, 0, s.put()), STG_E_FILEALREADYEXISTS);
  EXPECT_EQ(data->OpenStream(u"Nope", nullptr, STGM_SHARE_EXCLUSIVE | STGM_READ, 0, s.put()), STG_E_FILENOTFOUND);
  EXPECT_EQ(data->OpenStream(u"Intern01", nullptr, STGM_READ, 0, s.put()), STG_E_INVALIDFLAG);
  EXPECT_EQ(root->OpenStream(u"Data", nullptr, STGM_SHARE_EXCLUSIVE | STGM_READ, 0, s.put()), STG_E_FILENOTFOUND);
  ASSERT_EQ(data->OpenStream(u"Intern01", nullptr, STGM_SHARE_EXCLUSIVE | STGM_READ, 0, s.put()), S_OK);
  ComPtr<IStream> again;
  EXPECT_EQ(data->OpenStream(u"Intern01", nullptr, STGM_SHARE_EXCLUSIVE | STGM_READ, 0, again.put()), STG_E_ACCESSDENIED);
  ULONG n = 0;
  EXPECT_EQ(s->Write("x", 1, &n), STG_E_ACCESSDENIED);
  EXPECT_EQ(data->DestroyElement(u"Intern01"), STG_E_ACCESSDENIED);
  s = nullptr;
  EXPECT_EQ(data->RenameElement(u"Intern01", u"Intern02"), S_OK);
  EXPECT_EQ(data->RenameElement(u"Intern02", u"muxdata02"), STG_E_FILEALREADYEXISTS);  // names compare without case
  EXPECT_EQ(data->CreateStream(std::u16string(32, u'n').c_str(), STGM_SHARE_EXCLUSIVE | STGM_WRITE, 0, 0, s.put()),
            STG_E_INVALIDNAME);  // 31 characters at most
  EXPECT_EQ(data->DestroyElement(u"Intern01"), STG_E_FILENOTFOUND);
  EXPECT_EQ(data->CreateStream(u"a:b", STGM_SHARE_EXCLUSIVE | STGM_WRITE, 0, 0, s.put()), STG_E_INVALIDNAME);

  // Replacing with STGM_CREATE empties the element.
  ASSERT_EQ(data->CreateStream(u"MuxData02", STGM_CREATE | STGM_SHARE_EXCLUSIVE | STGM_WRITE, 0, 0, s.put()), S_OK);
  STATSTG st;
  ASSERT_EQ(s->Stat(&st, STATFLAG_DEFAULT), S_OK);
  EXPECT_EQ(st.cbSize.QuadPart, 0u);
  EXPECT_EQ(std::u16string(st.pwcsName), u"MuxData02");
  EXPECT_EQ(st.type, static_cast<DWORD>(STGTY_STREAM));
  CoTaskMemFree(st.pwcsName);
  s = nullptr;

  ComPtr<IEnumSTATSTG> e;
  ASSERT_EQ(data->EnumElements(0, nullptr, 0, e.put()), S_OK);
  STATSTG items[4];
  ULONG fetched = 0;
  EXPECT_EQ(e->Next(4, items, &fetched), S_FALSE);
  ASSERT_EQ(fetched, 2u);
  EXPECT_EQ(std::u16string(items[0].pwcsName), u"Intern02");  // shorter names first
  EXPECT_EQ(std::u16string(items[1].pwcsName), u"MuxData02");
  for (ULONG i = 0; i < fetched; ++i) CoTaskMemFree(items[i].pwcsName);
  ASSERT_EQ(root->Stat(&st, STATFLAG_NONAME), S_OK);
  EXPECT_EQ(st.pwcsName, nullptr);
  EXPECT_EQ(st.type, static_cast<DWORD>(STGTY_STORAGE));
  EXPECT_EQ(st.grfMode, static_cast<DWORD>(STGM_CREATE | STGM_SHARE_EXCLUSIVE | STGM_READWRITE));
  data = nullptr;
  root = nullptr;

  // Read-only: no element may be created, changed or destroyed.
  ASSERT_EQ(OpenRead("e.cfb", root.put()), S_OK);
  ASSERT_EQ(root->OpenStorage(u"Data", nullptr, STGM_SHARE_EXCLUSIVE | STGM_READ, nullptr, 0, data.put()), S_OK);
  EXPECT_EQ(data->CreateStream(u"New", STGM_SHARE_EXCLUSIVE | STGM_WRITE, 0, 0, s.put()), STG_E_ACCESSDENIED);
  EXPECT_EQ(data->OpenStream(u"Intern02", nullptr, STGM_SHARE_EXCLUSIVE | STGM_READWRITE, 0, s.put()), STG_E_ACCESSDENIED);
  EXPECT_EQ(data->DestroyElement(u"Intern02"), STG_E_ACCESSDENIED);
  EXPECT_EQ(Get(data.get(), u"Intern02"), Bytes(100, 1));
}

TEST_F(StgApi, StreamMembers) {
  ComPtr<IStorage> root;
  ASSERT_EQ(Create("s.cfb", root.put()), S_OK);
  ComPtr<IStream> s;
  ASSERT_EQ(root->CreateStream(u"S", STGM_SHARE_EXCLUSIVE | STGM_READWRITE, 0, 0, s.put()), S_OK);
  auto data = Bytes(10000, 3);
  ASSERT_EQ(s->Write(data.data(), 10000, nullptr), S_OK);
  LARGE_INTEGER move;
  ULARGE_INTEGER pos;
  move.QuadPart = -100;
  ASSERT_EQ(s->Seek(move, STREAM_SEEK_END, &pos), S_OK);
  EXPECT_EQ(pos.QuadPart, 9900u);
  move.QuadPart = -1;
  EXPECT_EQ(s->Seek(move, STREAM_SEEK_SET, &pos), STG_E_INVALIDFUNCTION);
  ComPtr<IStream> clone;
  ASSERT_EQ(s->Clone(clone.put()), S_OK);
  uint8_t buf[200];
  ULONG got = 0;
  ASSERT_EQ(clone->Read(buf, 200, &got), S_OK);
  EXPECT_EQ(got, 100u);  // short at the end, still S_OK
  EXPECT_EQ(std::vector<uint8_t>(buf, buf + 100), std::vector<uint8_t>(data.begin() + 9900, data.end()));
  ULARGE_INTEGER size;
  size.QuadPart = 5000;
  ASSERT_EQ(s->SetSize(size), S_OK);
  move.QuadPart = 0;
  ASSERT_EQ(s->Seek(move, STREAM_SEEK_END, &pos), S_OK);
  EXPECT_EQ(pos.QuadPart, 5000u);

  ComPtr<IStream> copy;
  ASSERT_EQ(root->CreateStream(u"Copy", STGM_SHARE_EXCLUSIVE | STGM_READWRITE, 0, 0, copy.put()), S_OK);
  ASSERT_EQ(s->Seek(move, STREAM_SEEK_SET, nullptr), S_OK);
  ULARGE_INTEGER all, r, w;
  all.QuadPart = ~0ull;
  ASSERT_EQ(s->CopyTo(copy.get(), all, &r, &w), S_OK);
  EXPECT_EQ(r.QuadPart, 5000u);
  EXPECT_EQ(w.QuadPart, 5000u);
  EXPECT_EQ(s->LockRegion(pos, pos, LOCK_WRITE), STG_E_INVALIDFUNCTION);
  s = nullptr;
  clone = nullptr;
  copy = nullptr;
  EXPECT_EQ(Get(root.get(), u"Copy"), std::vector<uint8_t>(data.begin(), data.begin() + 5000));
}

TEST_F(StgApi, StorageCopyToCopiesTheTree) {
  ComPtr<IStorage> from, to, sub;
  ASSERT_EQ(Create("from.cfb", from.put()), S_OK);
  ASSERT_EQ(from->CreateStorage(u"Data", STGM_SHARE_EXCLUSIVE | STGM_READWRITE, 0, 0, sub.put()), S_OK);
  Put(sub.get(), u"Big", Bytes(300000, 1));
  Put(sub.get(), u"Small", Bytes(10, 2));
  Put(from.get(), u"Skip", Bytes(10, 3));
  sub = nullptr;
  ASSERT_EQ(Create("to.cfb", to.put()), S_OK);
  OLECHAR skip[] = u"Skip";
  OLECHAR* exclude[] = {skip, nullptr};
  ASSERT_EQ(from->CopyTo(0, nullptr, exclude, to.get()), S_OK);
  ASSERT_EQ(to->OpenStorage(u"Data", nullptr, STGM_SHARE_EXCLUSIVE | STGM_READ, nullptr, 0, sub.put()), S_OK);
  EXPECT_EQ(Get(sub.get(), u"Big"), Bytes(300000, 1));
  EXPECT_EQ(Get(sub.get(), u"Small"), Bytes(10, 2));
  ComPtr<IStream> s;
  EXPECT_EQ(to->OpenStream(u"Skip", nullptr, STGM_SHARE_EXCLUSIVE | STGM_READ, 0, s.put()), STG_E_FILENOTFOUND);
}

TEST_F(StgApi, StreamsKeepTheFileAliveAndLocksEndWithTheLastReference) {
  ComPtr<IStream> s;
  {
    ComPtr<IStorage> root;
    ASSERT_EQ(Create("l.cfb", root.put()), S_OK);
    ASSERT_EQ(root->CreateStream(u"S", STGM_SHARE_EXCLUSIVE | STGM_WRITE, 0, 0, s.put()), S_OK);
    ComPtr<IStorage> other;
    EXPECT_EQ(OpenRead("l.cfb", other.put()), STG_E_SHAREVIOLATION);
  }
  auto data = Bytes(70000, 4);
  ASSERT_EQ(s->Write(data.data(), static_cast<ULONG>(data.size()), nullptr), S_OK);
  s->AddRef();
  EXPECT_EQ(s->Release(), 1u);
  s = nullptr;  // the last reference: the file is written and unlocked
  ComPtr<IStorage> root;
  ASSERT_EQ(OpenRead("l.cfb", root.put()), S_OK);
  EXPECT_EQ(Get(root.get(), u"S"), data);
}

TEST_F(StgApi, StreamsBeyondFourGiB) {
  const uint64_t size = (uint64_t{5} << 30) + 123, at = uint64_t{9} << 29;  // 5 GiB + 123, 4.5 GiB
  {
    ComPtr<IStorage> root;
    ASSERT_EQ(Create("big.cfb", root.put()), S_OK);
    ComPtr<IStream> s;
    ASSERT_EQ(root->CreateStream(u"Big", STGM_SHARE_EXCLUSIVE | STGM_WRITE, 0, 0, s.put()), S_OK);
    ULARGE_INTEGER n;
    n.QuadPart = size;
    ASSERT_EQ(s->SetSize(n), S_OK);  // reserved, not written: the file stays sparse
    LARGE_INTEGER move;
    move.QuadPart = static_cast<LONGLONG>(at);
    ASSERT_EQ(s->Seek(move, STREAM_SEEK_SET, nullptr), S_OK);
    ASSERT_EQ(s->Write("tail", 4, nullptr), S_OK);
  }
  ComPtr<IStorage> root;
  ASSERT_EQ(OpenRead("big.cfb", root.put()), S_OK);
  ComPtr<IStream> s;
  ASSERT_EQ(root->OpenStream(u"Big", nullptr, STGM_SHARE_EXCLUSIVE | STGM_READ, 0, s.put()), S_OK);
  STATSTG st;
  ASSERT_EQ(s->Stat(&st, STATFLAG_NONAME), S_OK);
  EXPECT_EQ(st.cbSize.QuadPart, size);
  LARGE_INTEGER move;
  move.QuadPart = static_cast<LONGLONG>(at);
  ASSERT_EQ(s->Seek(move, STREAM_SEEK_SET, nullptr), S_OK);
  char buf[4] = {};
  ULONG got = 0;
  ASSERT_EQ(s->Read(buf, 4, &got), S_OK);
  EXPECT_EQ(std::string(buf, got), "tail");

  // Version 3 keeps streams below 2 GiB.
  ComPtr<IStorage> v3;
  STGOPTIONS options{};
  options.usVersion = 1;
  options.ulSectorSize = 512;
  ASSERT_EQ(StgCreateStorageEx(Path("v3.cfb").c_str(), STGM_CREATE | STGM_SHARE_EXCLUSIVE | STGM_READWRITE,
                               STGFMT_DOCFILE, 0, &options, nullptr, IID_IStorage, reinterpret_cast<void**>(v3.put())),
            S_OK);
  ASSERT_EQ(v3->CreateStream(u"S", STGM_SHARE_EXCLUSIVE | STGM_WRITE, 0, 0, s.put()), S_OK);
  ULARGE_INTEGER n;
  n.QuadPart = uint64_t{3} << 30;
  EXPECT_EQ(s->SetSize(n), STG_E_DOCFILETOOLARGE);
}

TEST_F(StgApi, ParallelWritersAndReaders) {
  constexpr int kWriters = 4;
  constexpr size_t kSize = 6 << 20, kChunk = 64 << 10;
  ComPtr<IStorage> root;
  ASSERT_EQ(Create("p.cfb", root.put()), S_OK);
  const auto readme = Bytes(3 << 20, 99);
  Put(root.get(), u"ReadMe", readme);
  std::vector<ComPtr<IStream>> streams(kWriters);
  for (int i = 0; i < kWriters; ++i) {
    std::u16string name = u"W" + Wide(std::to_string(i));
    ASSERT_EQ(root->CreateStream(name.c_str(), STGM_SHARE_EXCLUSIVE | STGM_WRITE, 0, 0, streams[i].put()), S_OK);
  }
  ComPtr<IStream> reader;
  ASSERT_EQ(root->OpenStream(u"ReadMe", nullptr, STGM_SHARE_EXCLUSIVE | STGM_READ, 0, reader.put()), S_OK);
  std::atomic<int> failures{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < kWriters; ++i) {
    threads.emplace_back([&, i] {
      auto data = Bytes(kSize, static_cast<uint8_t>(i));
      for (size_t pos = 0; pos < kSize; pos += kChunk) {
        if (i % 2 == 0 && pos % (1 << 20) == 0) {  // reserve ahead, as a save does
          ULARGE_INTEGER ahead;
          ahead.QuadPart = std::min(kSize, pos + (1 << 20));
          if (FAILED(streams[i]->SetSize(ahead))) ++failures;
        }
        if (FAILED(streams[i]->Write(data.data() + pos, kChunk, nullptr))) ++failures;
      }
    });
  }
  threads.emplace_back([&] {
    for (int round = 0; round < 3; ++round) {
      LARGE_INTEGER zero;
      zero.QuadPart = 0;
      reader->Seek(zero, STREAM_SEEK_SET, nullptr);
      std::vector<uint8_t> got(readme.size());
      ULONG n = 0;
      if (FAILED(reader->Read(got.data(), static_cast<ULONG>(got.size()), &n)) || got != readme) ++failures;
    }
  });
  for (auto& t : threads) t.join();
  EXPECT_EQ(failures.load(), 0);
  streams.clear();
  reader = nullptr;
  root = nullptr;
  ASSERT_EQ(OpenRead("p.cfb", root.put()), S_OK);
  for (int i = 0; i < kWriters; ++i) {
    std::u16string name = u"W" + Wide(std::to_string(i));
    EXPECT_EQ(Get(root.get(), name.c_str()), Bytes(kSize, static_cast<uint8_t>(i))) << i;
  }
}

}  // namespace
