#include "platform/serialised_storage.h"

#include <memory>
#include <mutex>
#include <new>

#include "platform/ref_count.h"

namespace mlr {
namespace {

using FileLock = std::shared_ptr<std::recursive_mutex>;

// What every wrapper holds: the inner object (one reference), the file's
// lock and its own count. The inner reference is dropped under the lock.
template <class Interface>
class Locked : public Interface {
 public:
  Locked(Interface* inner, FileLock lock) : inner_(inner), lock_(std::move(lock)) {
    inner_->AddRef();
  }
  virtual ~Locked() {
    std::lock_guard<std::recursive_mutex> guard(*lock_);
    inner_->Release();
  }
  Locked(const Locked&) = delete;
  Locked& operator=(const Locked&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
    if (!ppv) return E_POINTER;
    *ppv = nullptr;
    if (riid == IID_IUnknown || riid == InterfaceId()) {
      *ppv = static_cast<Interface*>(this);
      AddRef();
      return S_OK;
    }
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return refs_.AddRef(); }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG n = refs_.Release();
    if (n == 0) delete this;
    return n;
  }

 protected:
  virtual REFIID InterfaceId() const = 0;

  // Runs `call` on the inner object under the file's lock.
  template <class Call>
  HRESULT Do(Call call) {
    std::lock_guard<std::recursive_mutex> guard(*lock_);
    return call(inner_);
  }

  // Wraps a new inner object `*out` (already counted) as Wrapper, in place;
  // the inner reference is released (the wrapper holds its own).
  template <class Wrapper, class Inner>
  HRESULT Wrap(HRESULT hr, Inner** out) {
    if (FAILED(hr) || !*out) return hr;
    Inner* inner = *out;
    *out = new (std::nothrow) Wrapper(inner, lock_);
    {
      std::lock_guard<std::recursive_mutex> guard(*lock_);
      inner->Release();
    }
    return *out ? hr : E_OUTOFMEMORY;
  }

  Interface* const inner_;
  const FileLock lock_;

 private:
  RefCount refs_;
};

class LockedEnum final : public Locked<IEnumSTATSTG> {
 public:
  using Locked::Locked;
  HRESULT STDMETHODCALLTYPE Next(ULONG celt, STATSTG* rgelt, ULONG* fetched) override {
    return Do([&](IEnumSTATSTG* e) { return e->Next(celt, rgelt, fetched); });
  }
  HRESULT STDMETHODCALLTYPE Skip(ULONG celt) override {
    return Do([&](IEnumSTATSTG* e) { return e->Skip(celt); });
  }
  HRESULT STDMETHODCALLTYPE Reset() override {
    return Do([&](IEnumSTATSTG* e) { return e->Reset(); });
  }
  HRESULT STDMETHODCALLTYPE Clone(IEnumSTATSTG** ppenum) override {
    if (!ppenum) return E_POINTER;
    return Wrap<LockedEnum>(Do([&](IEnumSTATSTG* e) { return e->Clone(ppenum); }), ppenum);
  }

 private:
  REFIID InterfaceId() const override { return IID_IEnumSTATSTG; }
};

class LockedStream final : public Locked<IStream> {
 public:
  using Locked::Locked;
  HRESULT STDMETHODCALLTYPE Read(void* pv, ULONG cb, ULONG* read) override {
    return Do([&](IStream* s) { return s->Read(pv, cb, read); });
  }
  HRESULT STDMETHODCALLTYPE Write(const void* pv, ULONG cb, ULONG* written) override {
    return Do([&](IStream* s) { return s->Write(pv, cb, written); });
  }
  HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER move, DWORD origin,
                                 ULARGE_INTEGER* position) override {
    return Do([&](IStream* s) { return s->Seek(move, origin, position); });
  }
  HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER size) override {
    return Do([&](IStream* s) { return s->SetSize(size); });
  }
  HRESULT STDMETHODCALLTYPE CopyTo(IStream* target, ULARGE_INTEGER cb, ULARGE_INTEGER* read,
                                   ULARGE_INTEGER* written) override {
    return Do([&](IStream* s) { return s->CopyTo(target, cb, read, written); });
  }
  HRESULT STDMETHODCALLTYPE Commit(DWORD flags) override {
    return Do([&](IStream* s) { return s->Commit(flags); });
  }
  HRESULT STDMETHODCALLTYPE Revert() override {
    return Do([&](IStream* s) { return s->Revert(); });
  }
  HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER cb,
                                       DWORD type) override {
    return Do([&](IStream* s) { return s->LockRegion(offset, cb, type); });
  }
  HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER cb,
                                         DWORD type) override {
    return Do([&](IStream* s) { return s->UnlockRegion(offset, cb, type); });
  }
  HRESULT STDMETHODCALLTYPE Stat(STATSTG* stat, DWORD flags) override {
    return Do([&](IStream* s) { return s->Stat(stat, flags); });
  }
  HRESULT STDMETHODCALLTYPE Clone(IStream** ppstm) override {
    if (!ppstm) return E_POINTER;
    return Wrap<LockedStream>(Do([&](IStream* s) { return s->Clone(ppstm); }), ppstm);
  }

 private:
  REFIID InterfaceId() const override { return IID_IStream; }
};

class LockedStorage final : public Locked<IStorage> {
 public:
  using Locked::Locked;
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
    if (ppv && riid == IID_IPropertySetStorage) {
      return Do([&](IStorage* s) { return s->QueryInterface(riid, ppv); });
    }
    return Locked::QueryInterface(riid, ppv);
  }
  HRESULT STDMETHODCALLTYPE CreateStream(const OLECHAR* name, DWORD mode, DWORD r1, DWORD r2,
                                         IStream** ppstm) override {
    if (!ppstm) return E_POINTER;
    return Wrap<LockedStream>(
        Do([&](IStorage* s) { return s->CreateStream(name, mode, r1, r2, ppstm); }), ppstm);
  }
  HRESULT STDMETHODCALLTYPE OpenStream(const OLECHAR* name, void* r1, DWORD mode, DWORD r2,
                                       IStream** ppstm) override {
    if (!ppstm) return E_POINTER;
    return Wrap<LockedStream>(
        Do([&](IStorage* s) { return s->OpenStream(name, r1, mode, r2, ppstm); }), ppstm);
  }
  HRESULT STDMETHODCALLTYPE CreateStorage(const OLECHAR* name, DWORD mode, DWORD r1, DWORD r2,
                                          IStorage** ppstg) override {
    if (!ppstg) return E_POINTER;
    return Wrap<LockedStorage>(
        Do([&](IStorage* s) { return s->CreateStorage(name, mode, r1, r2, ppstg); }), ppstg);
  }
  HRESULT STDMETHODCALLTYPE OpenStorage(const OLECHAR* name, IStorage* priority, DWORD mode,
                                        SNB exclude, DWORD reserved, IStorage** ppstg) override {
    if (!ppstg) return E_POINTER;
    return Wrap<LockedStorage>(Do([&](IStorage* s) {
                                 return s->OpenStorage(name, priority, mode, exclude, reserved,
                                                       ppstg);
                               }),
                               ppstg);
  }
  HRESULT STDMETHODCALLTYPE CopyTo(DWORD count, const IID* excluded, SNB exclude,
                                   IStorage* target) override {
    return Do([&](IStorage* s) { return s->CopyTo(count, excluded, exclude, target); });
  }
  HRESULT STDMETHODCALLTYPE MoveElementTo(const OLECHAR* name, IStorage* target,
                                          const OLECHAR* new_name, DWORD flags) override {
    return Do([&](IStorage* s) { return s->MoveElementTo(name, target, new_name, flags); });
  }
  HRESULT STDMETHODCALLTYPE Commit(DWORD flags) override {
    return Do([&](IStorage* s) { return s->Commit(flags); });
  }
  HRESULT STDMETHODCALLTYPE Revert() override {
    return Do([&](IStorage* s) { return s->Revert(); });
  }
  HRESULT STDMETHODCALLTYPE EnumElements(DWORD r1, void* r2, DWORD r3,
                                         IEnumSTATSTG** ppenum) override {
    if (!ppenum) return E_POINTER;
    return Wrap<LockedEnum>(Do([&](IStorage* s) { return s->EnumElements(r1, r2, r3, ppenum); }),
                            ppenum);
  }
  HRESULT STDMETHODCALLTYPE DestroyElement(const OLECHAR* name) override {
    return Do([&](IStorage* s) { return s->DestroyElement(name); });
  }
  HRESULT STDMETHODCALLTYPE RenameElement(const OLECHAR* from, const OLECHAR* to) override {
    return Do([&](IStorage* s) { return s->RenameElement(from, to); });
  }
  HRESULT STDMETHODCALLTYPE SetElementTimes(const OLECHAR* name, const FILETIME* created,
                                            const FILETIME* accessed,
                                            const FILETIME* modified) override {
    return Do([&](IStorage* s) { return s->SetElementTimes(name, created, accessed, modified); });
  }
  HRESULT STDMETHODCALLTYPE SetClass(REFCLSID clsid) override {
    return Do([&](IStorage* s) { return s->SetClass(clsid); });
  }
  HRESULT STDMETHODCALLTYPE SetStateBits(DWORD bits, DWORD mask) override {
    return Do([&](IStorage* s) { return s->SetStateBits(bits, mask); });
  }
  HRESULT STDMETHODCALLTYPE Stat(STATSTG* stat, DWORD flags) override {
    return Do([&](IStorage* s) { return s->Stat(stat, flags); });
  }

 private:
  REFIID InterfaceId() const override { return IID_IStorage; }
};

}  // namespace

HRESULT SerialiseStorage(IStorage* inner, IStorage** out) {
  if (!out) return E_POINTER;
  *out = nullptr;
  if (!inner) return E_INVALIDARG;
  try {
    *out = new LockedStorage(inner, std::make_shared<std::recursive_mutex>());
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  return S_OK;
}

}  // namespace mlr

namespace mlr {

HRESULT StorageForThreads(IStorage* inner, IStorage** out) {
#if defined(_WIN32)
  return SerialiseStorage(inner, out);
#else
  if (!out) return E_POINTER;
  *out = inner;
  if (!inner) return E_INVALIDARG;
  inner->AddRef();
  return S_OK;
#endif
}

}  // namespace mlr
