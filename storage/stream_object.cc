#include "storage/com_util.h"
#include "storage/guard.h"
#include "storage/hresult.h"
#include "storage/objects.h"

#include <new>
#include <vector>

namespace mlr::storage {
namespace {

constexpr size_t kCopyBlock = 1 << 20;

}  // namespace

ULONG StreamObject::Release() {
  ULONG n = refs_.Release();
  if (n == 0) delete this;
  return n;
}

HRESULT StreamObject::QueryInterface(REFIID riid, void** ppv) {
  if (!ppv) return E_POINTER;
  *ppv = nullptr;
  if (riid == IID_IUnknown || riid == IID_IStream || riid == IID_ISequentialStream) {
    *ppv = static_cast<IStream*>(this);
    AddRef();
    return S_OK;
  }
  return E_NOINTERFACE;
}

HRESULT StreamObject::Read(void* pv, ULONG cb, ULONG* pcbRead) {
  if (pcbRead) *pcbRead = 0;
  if (!pv && cb) return STG_E_INVALIDPOINTER;
  MLR_GUARD_BEGIN
  if (!CanRead(mode_)) return STG_E_ACCESSDENIED;
  std::lock_guard<std::mutex> lock(pos_mu_);
  size_t got = 0;
  Status st = node_->file()->Read(*node_, pos_, pv, cb, &got);
  pos_ += got;
  if (pcbRead) *pcbRead = static_cast<ULONG>(got);
  return ToHresult(st);
  MLR_GUARD_END
}

HRESULT StreamObject::Write(const void* pv, ULONG cb, ULONG* pcbWritten) {
  if (pcbWritten) *pcbWritten = 0;
  if (!pv && cb) return STG_E_INVALIDPOINTER;
  MLR_GUARD_BEGIN
  if (!CanWrite(mode_)) return STG_E_ACCESSDENIED;
  std::lock_guard<std::mutex> lock(pos_mu_);
  Status st = node_->file()->Write(*node_, pos_, pv, cb);
  if (!st.ok()) return ToHresult(st);
  pos_ += cb;
  if (pcbWritten) *pcbWritten = cb;
  return S_OK;
  MLR_GUARD_END
}

HRESULT StreamObject::Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* new_position) {
  MLR_GUARD_BEGIN
  std::lock_guard<std::mutex> lock(pos_mu_);
  int64_t base;
  switch (origin) {
    case STREAM_SEEK_SET: base = 0; break;
    case STREAM_SEEK_CUR: base = static_cast<int64_t>(pos_); break;
    case STREAM_SEEK_END: base = static_cast<int64_t>(node_->file()->StreamSize(*node_)); break;
    default: return STG_E_INVALIDFUNCTION;
  }
  const int64_t delta = move.QuadPart;
  if ((delta < 0 && base + delta < 0) || (delta > 0 && base > INT64_MAX - delta)) return STG_E_INVALIDFUNCTION;
  pos_ = static_cast<uint64_t>(base + delta);
  if (new_position) new_position->QuadPart = pos_;
  return S_OK;
  MLR_GUARD_END
}

HRESULT StreamObject::SetSize(ULARGE_INTEGER size) {
  MLR_GUARD_BEGIN
  if (!CanWrite(mode_)) return STG_E_ACCESSDENIED;
  return ToHresult(node_->file()->SetSize(*node_, size.QuadPart));
  MLR_GUARD_END
}

HRESULT StreamObject::CopyTo(IStream* dest, ULARGE_INTEGER cb, ULARGE_INTEGER* pcbRead, ULARGE_INTEGER* pcbWritten) {
  if (pcbRead) pcbRead->QuadPart = 0;
  if (pcbWritten) pcbWritten->QuadPart = 0;
  if (!dest) return STG_E_INVALIDPOINTER;
  MLR_GUARD_BEGIN
  if (!CanRead(mode_)) return STG_E_ACCESSDENIED;
  std::vector<uint8_t> buf(static_cast<size_t>(std::min<uint64_t>(cb.QuadPart, kCopyBlock)));
  uint64_t left = cb.QuadPart, read_total = 0, written_total = 0;
  HRESULT hr = S_OK;
  while (left > 0) {
    ULONG want = static_cast<ULONG>(std::min<uint64_t>(left, buf.size()));
    ULONG got = 0;
    hr = Read(buf.data(), want, &got);
    if (FAILED(hr) || got == 0) break;
    read_total += got;
    ULONG put = 0;
    hr = dest->Write(buf.data(), got, &put);
    written_total += put;
    if (FAILED(hr)) break;
    left -= got;
  }
  if (pcbRead) pcbRead->QuadPart = read_total;
  if (pcbWritten) pcbWritten->QuadPart = written_total;
  return hr;
  MLR_GUARD_END
}

HRESULT StreamObject::Commit(DWORD) {
  MLR_GUARD_BEGIN
  if (!CanWrite(mode_)) return S_OK;
  return ToHresult(node_->file()->Flush());
  MLR_GUARD_END
}

HRESULT StreamObject::Revert() { return S_OK; }

HRESULT StreamObject::LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) { return STG_E_INVALIDFUNCTION; }
HRESULT StreamObject::UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) { return STG_E_INVALIDFUNCTION; }

HRESULT StreamObject::Stat(STATSTG* st, DWORD flag) {
  if (!st) return STG_E_INVALIDPOINTER;
  MLR_GUARD_BEGIN
  if (flag & ~static_cast<DWORD>(STATFLAG_NONAME | STATFLAG_NOOPEN)) return STG_E_INVALIDFLAG;
  ElementInfo info = node_->file()->Stat(node_->index());
  return FillStatStg(info, info.name, mode_, flag, st);
  MLR_GUARD_END
}

HRESULT StreamObject::Clone(IStream** ppstm) {
  if (!ppstm) return STG_E_INVALIDPOINTER;
  *ppstm = nullptr;
  MLR_GUARD_BEGIN
  std::lock_guard<std::mutex> lock(pos_mu_);
  *ppstm = new StreamObject(node_, mode_, pos_);
  return S_OK;
  MLR_GUARD_END
}

namespace {

class ElementEnum final : public IEnumSTATSTG {
 public:
  explicit ElementEnum(std::shared_ptr<const std::vector<ElementInfo>> elements, size_t at = 0)
      : elements_(std::move(elements)), at_(at) {}

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
    if (!ppv) return E_POINTER;
    *ppv = nullptr;
    if (riid != IID_IUnknown && riid != IID_IEnumSTATSTG) return E_NOINTERFACE;
    *ppv = static_cast<IEnumSTATSTG*>(this);
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return refs_.AddRef(); }
  ULONG STDMETHODCALLTYPE Release() override {
    ULONG n = refs_.Release();
    if (n == 0) delete this;
    return n;
  }

  HRESULT STDMETHODCALLTYPE Next(ULONG celt, STATSTG* rgelt, ULONG* fetched) override {
    if (fetched) *fetched = 0;
    if (!rgelt || (celt > 1 && !fetched)) return STG_E_INVALIDPOINTER;
    std::lock_guard<std::mutex> lock(mu_);
    ULONG n = 0;
    for (; n < celt && at_ < elements_->size(); ++n, ++at_) {
      const ElementInfo& e = (*elements_)[at_];
      HRESULT hr = FillStatStg(e, e.name, 0, STATFLAG_DEFAULT, &rgelt[n]);
      if (FAILED(hr)) {
        for (ULONG k = 0; k < n; ++k) CoTaskMemFree(rgelt[k].pwcsName);
        return hr;
      }
    }
    if (fetched) *fetched = n;
    return n == celt ? S_OK : S_FALSE;
  }
  HRESULT STDMETHODCALLTYPE Skip(ULONG celt) override {
    std::lock_guard<std::mutex> lock(mu_);
    size_t left = elements_->size() - at_;
    at_ += std::min<size_t>(celt, left);
    return celt <= left ? S_OK : S_FALSE;
  }
  HRESULT STDMETHODCALLTYPE Reset() override {
    std::lock_guard<std::mutex> lock(mu_);
    at_ = 0;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Clone(IEnumSTATSTG** ppenum) override {
    if (!ppenum) return STG_E_INVALIDPOINTER;
    std::lock_guard<std::mutex> lock(mu_);
    *ppenum = new (std::nothrow) ElementEnum(elements_, at_);
    return *ppenum ? S_OK : E_OUTOFMEMORY;
  }

 private:
  ~ElementEnum() = default;
  RefCount refs_;
  std::mutex mu_;
  std::shared_ptr<const std::vector<ElementInfo>> elements_;
  size_t at_;
};

}  // namespace

HRESULT NewElementEnum(std::vector<ElementInfo> elements, IEnumSTATSTG** ppenum) {
  *ppenum = new ElementEnum(std::make_shared<const std::vector<ElementInfo>>(std::move(elements)));
  return S_OK;
}

}  // namespace mlr::storage
