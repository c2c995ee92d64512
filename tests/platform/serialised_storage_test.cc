// The serialised compound file: one lock per file over every storage, stream
// and enumerator opened through it, the inner objects released, and the
// wrapper usable in place of the engine's own objects.
#include "platform/serialised_storage.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "platform/com_ptr.h"
#include "platform/ref_count.h"
#include "platform/strings.h"

namespace {

using mlr::ComPtr;

// An engine that is not safe for concurrent calls: every call (Release
// included) notes when another call of the same file is still running.
struct FakeFile {
  std::atomic<int> inside{0};
  std::atomic<int> overlaps{0};
  std::atomic<int> live{0};
};

class Entered {
 public:
  explicit Entered(FakeFile* file) : file_(file) {
    if (file_->inside.fetch_add(1) != 0) file_->overlaps.fetch_add(1);
    std::this_thread::yield();  // widen the window a missing lock leaves open
  }
  ~Entered() { file_->inside.fetch_sub(1); }

 private:
  FakeFile* file_;
};

template <class Interface>
class FakeObject : public Interface {
 public:
  explicit FakeObject(FakeFile* file) : file_(file) { file_->live.fetch_add(1); }
  virtual ~FakeObject() { file_->live.fetch_sub(1); }
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** ppv) override {
    *ppv = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return refs_.AddRef(); }
  ULONG STDMETHODCALLTYPE Release() override {
    ULONG n;
    {
      Entered e(file_);
      n = refs_.Release();
    }
    if (n == 0) delete this;
    return n;
  }

 protected:
  FakeFile* file_;
  mlr::RefCount refs_;
};

class FakeStream final : public FakeObject<IStream> {
 public:
  using FakeObject::FakeObject;
  HRESULT STDMETHODCALLTYPE Read(void*, ULONG, ULONG*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Write(const void*, ULONG cb, ULONG* written) override {
    Entered e(file_);
    if (written) *written = cb;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER, DWORD, ULARGE_INTEGER*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE CopyTo(IStream*, ULARGE_INTEGER, ULARGE_INTEGER*,
                                   ULARGE_INTEGER*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE Commit(DWORD) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Revert() override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE Stat(STATSTG*, DWORD) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Clone(IStream** out) override {
    Entered e(file_);
    *out = new FakeStream(file_);
    return S_OK;
  }
};

class FakeStorage final : public FakeObject<IStorage> {
 public:
  using FakeObject::FakeObject;
  HRESULT STDMETHODCALLTYPE CreateStream(const OLECHAR*, DWORD, DWORD, DWORD,
                                         IStream** out) override {
    Entered e(file_);
    *out = new FakeStream(file_);
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE OpenStream(const OLECHAR*, void*, DWORD, DWORD, IStream**) override {
    return STG_E_FILENOTFOUND;
  }
  HRESULT STDMETHODCALLTYPE CreateStorage(const OLECHAR*, DWORD, DWORD, DWORD,
                                          IStorage** out) override {
    Entered e(file_);
    *out = new FakeStorage(file_);
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE OpenStorage(const OLECHAR*, IStorage*, DWORD, SNB, DWORD,
                                        IStorage**) override {
    return STG_E_FILENOTFOUND;
  }
  HRESULT STDMETHODCALLTYPE CopyTo(DWORD, const IID*, SNB, IStorage*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE MoveElementTo(const OLECHAR*, IStorage*, const OLECHAR*,
                                          DWORD) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE Commit(DWORD) override {
    Entered e(file_);
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Revert() override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE EnumElements(DWORD, void*, DWORD, IEnumSTATSTG**) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE DestroyElement(const OLECHAR*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE RenameElement(const OLECHAR*, const OLECHAR*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE SetElementTimes(const OLECHAR*, const FILETIME*, const FILETIME*,
                                            const FILETIME*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE SetClass(REFCLSID) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE SetStateBits(DWORD, DWORD) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Stat(STATSTG*, DWORD) override { return E_NOTIMPL; }
};

// What a save does: each thread creates its own storage and streams and
// writes them while another thread commits the root; then everything is
// released. No call of the inner engine may overlap another, and every inner
// object is gone at the end.
TEST(SerialisedStorage, SerialisesEveryCallOfOneFileAndReleasesTheInnerObjects) {
  FakeFile file;
  {
    ComPtr<IStorage> inner;
    inner.attach(new FakeStorage(&file));
    ComPtr<IStorage> root;
    ASSERT_EQ(mlr::SerialiseStorage(inner.get(), root.put()), S_OK);
    inner = nullptr;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([&root] {
        for (int i = 0; i < 200; ++i) {
          ComPtr<IStorage> group;
          ComPtr<IStream> stream, copy;
          ASSERT_EQ(root->CreateStorage(OLESTR("g"), 0, 0, 0, group.put()), S_OK);
          ASSERT_EQ(group->CreateStream(OLESTR("s"), 0, 0, 0, stream.put()), S_OK);
          ULONG written = 0;
          ASSERT_EQ(stream->Write("ab", 2, &written), S_OK);
          EXPECT_EQ(written, 2u);
          ASSERT_EQ(stream->Clone(copy.put()), S_OK);
          EXPECT_EQ(copy->Write("c", 1, nullptr), S_OK);
        }
      });
    }
    threads.emplace_back([&root] {
      for (int i = 0; i < 400; ++i) EXPECT_EQ(root->Commit(STGC_DEFAULT), S_OK);
    });
    for (auto& t : threads) t.join();
    ComPtr<IStream> missing;
    EXPECT_EQ(root->OpenStream(OLESTR("none"), nullptr, 0, 0, missing.put()), STG_E_FILENOTFOUND);
    EXPECT_FALSE(missing);
  }
  EXPECT_EQ(file.overlaps.load(), 0);
  EXPECT_EQ(file.live.load(), 0);
}

// Over the library's own engine: elements created and read back through the
// wrapper, the enumerator, the property set (through QueryInterface, as a
// system engine offers it) and the file closed once the wrapper is released.
TEST(SerialisedStorage, StandsInForTheEnginesOwnStorage) {
  const std::string path = ::testing::TempDir() + "serialised_storage.cfb";
  const mlr::OleString name = mlr::ToUtf16(path.c_str());
  {
    ComPtr<IStorage> created, root, data;
    ASSERT_EQ(StgCreateDocfile(name.c_str(), STGM_CREATE | STGM_READWRITE | STGM_SHARE_EXCLUSIVE, 0,
                               created.put()),
              S_OK);
    ASSERT_EQ(mlr::SerialiseStorage(created.get(), root.put()), S_OK);
    created = nullptr;
    ComPtr<IStorage> alias;
    ASSERT_EQ(root->QueryInterface(IID_IStorage, alias.put_void()), S_OK);
    EXPECT_EQ(alias.get(), root.get());
    ASSERT_EQ(root->CreateStorage(OLESTR("Data"), STGM_READWRITE | STGM_SHARE_EXCLUSIVE, 0, 0,
                                  data.put()),
              S_OK);
    ComPtr<IStream> stream;
    ASSERT_EQ(data->CreateStream(OLESTR("Intern01"), STGM_READWRITE | STGM_SHARE_EXCLUSIVE, 0, 0,
                                 stream.put()),
              S_OK);
    ASSERT_EQ(stream->Write("12345", 5, nullptr), S_OK);
    LARGE_INTEGER zero{};
    ASSERT_EQ(stream->Seek(zero, STREAM_SEEK_SET, nullptr), S_OK);
    char back[6] = {};
    ULONG read = 0;
    ASSERT_EQ(stream->Read(back, 5, &read), S_OK);
    EXPECT_EQ(std::string(back, read), "12345");

    ComPtr<IEnumSTATSTG> elements;
    ASSERT_EQ(data->EnumElements(0, nullptr, 0, elements.put()), S_OK);
    STATSTG st{};
    ULONG fetched = 0;
    ASSERT_EQ(elements->Next(1, &st, &fetched), S_OK);
    EXPECT_EQ(mlr::OleString(st.pwcsName), mlr::OleString(OLESTR("Intern01")));
    EXPECT_EQ(st.cbSize.QuadPart, 5u);
    CoTaskMemFree(st.pwcsName);

    ComPtr<IPropertySetStorage> sets;
    EXPECT_EQ(root->QueryInterface(IID_IPropertySetStorage, sets.put_void()), S_OK);
    EXPECT_TRUE(sets);
    ComPtr<IUnknown> other;
    EXPECT_EQ(root->QueryInterface(IID_IDispatch, other.put_void()), E_NOINTERFACE);
    EXPECT_EQ(root->Commit(STGC_DEFAULT), S_OK);
  }
  // Every inner object was released: the file opens share-exclusive again.
  ComPtr<IStorage> again;
  ASSERT_EQ(StgOpenStorage(name.c_str(), nullptr, STGM_READ | STGM_SHARE_EXCLUSIVE, nullptr, 0,
                           again.put()),
            S_OK);
  ComPtr<IStorage> data;
  EXPECT_EQ(again->OpenStorage(OLESTR("Data"), nullptr, STGM_READ | STGM_SHARE_EXCLUSIVE, nullptr,
                               0, data.put()),
            S_OK);
}

}  // namespace
