// CreateStreamOnHGlobal: a growable memory IStream. The bytes live in a
// shared block; Clone makes a second stream over the same block with its own
// seek pointer (a write through one is seen by the other). Each stream's
// members lock the block, so clones may be used on different threads.
#if !defined(_WIN32)

#include "platform/com_ptr.h"
#include "platform/ref_count.h"
#include "platform/win.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <vector>

namespace {

struct Block {
  std::mutex mutex;
  std::vector<unsigned char> data;
  FILETIME mtime{}, ctime{}, atime{};
};

// A cap on the size of the block; larger sizes fail with STG_E_MEDIUMFULL.
constexpr uint64_t kMaxSize = uint64_t{1} << 40;

class MemoryStream final : public IStream {
 public:
  explicit MemoryStream(std::shared_ptr<Block> block, uint64_t position = 0)
      : block_(std::move(block)), position_(position) {}

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
    if (!ppv) return E_POINTER;
    if (riid == IID_IUnknown || riid == IID_ISequentialStream || riid == IID_IStream) {
      *ppv = static_cast<IStream*>(this);
      AddRef();
      return S_OK;
    }
    *ppv = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return refs_.AddRef(); }
  ULONG STDMETHODCALLTYPE Release() override {
    ULONG n = refs_.Release();
    if (n == 0) delete this;
    return n;
  }

  HRESULT STDMETHODCALLTYPE Read(void* pv, ULONG cb, ULONG* pcbRead) override {
    if (pcbRead) *pcbRead = 0;
    if (!pv) return STG_E_INVALIDPOINTER;
    std::lock_guard<std::mutex> lock(block_->mutex);
    uint64_t size = block_->data.size();
    ULONG n = 0;
    if (position_ < size) n = static_cast<ULONG>(std::min<uint64_t>(cb, size - position_));
    if (n) std::memcpy(pv, block_->data.data() + position_, n);
    position_ += n;
    if (pcbRead) *pcbRead = n;
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE Write(const void* pv, ULONG cb, ULONG* pcbWritten) override {
    if (pcbWritten) *pcbWritten = 0;
    if (!pv) return STG_E_INVALIDPOINTER;
    std::lock_guard<std::mutex> lock(block_->mutex);
    uint64_t end = position_ + cb;
    if (end > kMaxSize) return STG_E_MEDIUMFULL;
    if (end > block_->data.size()) {
      try {
        block_->data.resize(static_cast<size_t>(end));
      } catch (const std::bad_alloc&) {
        return STG_E_MEDIUMFULL;
      }
    }
    if (cb) std::memcpy(block_->data.data() + position_, pv, cb);
    position_ = end;
    if (pcbWritten) *pcbWritten = cb;
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER move, DWORD origin,
                                 ULARGE_INTEGER* newpos) override {
    std::lock_guard<std::mutex> lock(block_->mutex);
    int64_t base;
    switch (origin) {
      case STREAM_SEEK_SET: base = 0; break;
      case STREAM_SEEK_CUR: base = static_cast<int64_t>(position_); break;
      case STREAM_SEEK_END: base = static_cast<int64_t>(block_->data.size()); break;
      default: return STG_E_INVALIDFUNCTION;
    }
    int64_t target;
    if (__builtin_add_overflow(base, move.QuadPart, &target) || target < 0) {
      return STG_E_INVALIDFUNCTION;
    }
    position_ = static_cast<uint64_t>(target);
    if (newpos) newpos->QuadPart = position_;
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER size) override {
    if (size.QuadPart > kMaxSize) return STG_E_MEDIUMFULL;
    std::lock_guard<std::mutex> lock(block_->mutex);
    try {
      block_->data.resize(static_cast<size_t>(size.QuadPart));
    } catch (const std::bad_alloc&) {
      return STG_E_MEDIUMFULL;
    }
    return S_OK;
  }

  // Copies cb bytes (or up to the end) to pstm through a bounded buffer.
  HRESULT STDMETHODCALLTYPE CopyTo(IStream* pstm, ULARGE_INTEGER cb, ULARGE_INTEGER* pcbRead,
                                   ULARGE_INTEGER* pcbWritten) override {
    if (pcbRead) pcbRead->QuadPart = 0;
    if (pcbWritten) pcbWritten->QuadPart = 0;
    if (!pstm) return STG_E_INVALIDPOINTER;
    uint64_t left = cb.QuadPart, total_read = 0, total_written = 0;
    std::vector<unsigned char> buffer;
    try {
      buffer.resize(64 * 1024);
    } catch (const std::bad_alloc&) {
      return E_OUTOFMEMORY;
    }
    HRESULT hr = S_OK;
    while (left > 0) {
      ULONG chunk = static_cast<ULONG>(std::min<uint64_t>(left, buffer.size()));
      ULONG got = 0;
      hr = Read(buffer.data(), chunk, &got);
      if (FAILED(hr) || got == 0) break;
      total_read += got;
      ULONG put = 0;
      hr = pstm->Write(buffer.data(), got, &put);
      total_written += put;
      if (FAILED(hr)) break;
      if (put != got) {
        hr = STG_E_MEDIUMFULL;
        break;
      }
      left -= got;
    }
    if (pcbRead) pcbRead->QuadPart = total_read;
    if (pcbWritten) pcbWritten->QuadPart = total_written;
    return FAILED(hr) ? hr : S_OK;
  }

  HRESULT STDMETHODCALLTYPE Commit(DWORD) override { return S_OK; }
  HRESULT STDMETHODCALLTYPE Revert() override { return S_OK; }
  HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override {
    return STG_E_INVALIDFUNCTION;
  }
  HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override {
    return STG_E_INVALIDFUNCTION;
  }

  HRESULT STDMETHODCALLTYPE Stat(STATSTG* pstatstg, DWORD) override {
    if (!pstatstg) return STG_E_INVALIDPOINTER;
    std::memset(pstatstg, 0, sizeof *pstatstg);
    std::lock_guard<std::mutex> lock(block_->mutex);
    pstatstg->type = STGTY_STREAM;
    pstatstg->cbSize.QuadPart = block_->data.size();
    pstatstg->mtime = block_->mtime;
    pstatstg->ctime = block_->ctime;
    pstatstg->atime = block_->atime;
    pstatstg->grfMode = STGM_READWRITE;
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE Clone(IStream** ppstm) override {
    if (!ppstm) return STG_E_INVALIDPOINTER;
    uint64_t position;
    {
      std::lock_guard<std::mutex> lock(block_->mutex);
      position = position_;
    }
    *ppstm = new (std::nothrow) MemoryStream(block_, position);
    return *ppstm ? S_OK : E_OUTOFMEMORY;
  }

 private:
  ~MemoryStream() = default;
  mlr::RefCount refs_;
  std::shared_ptr<Block> block_;
  uint64_t position_;  // guarded by block_->mutex
};

}  // namespace

HRESULT CreateStreamOnHGlobal(HGLOBAL hGlobal, BOOL, LPSTREAM* ppstm) {
  if (!ppstm) return E_INVALIDARG;
  *ppstm = nullptr;
  if (hGlobal) return E_INVALIDARG;  // existing memory blocks are not supported
  std::shared_ptr<Block> block;
  try {
    block = std::make_shared<Block>();
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  GetSystemTimeAsFileTime(&block->ctime);
  block->mtime = block->atime = block->ctime;
  *ppstm = new (std::nothrow) MemoryStream(std::move(block));
  return *ppstm ? S_OK : E_OUTOFMEMORY;
}

#endif  // !_WIN32
