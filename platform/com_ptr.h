// mlr::ComPtr<T>: an owning smart pointer for interface pointers.
//
// Ownership: a ComPtr holds one reference. Copying adds a reference (the new
// one is added before the old one is released, so self-assignment and
// assignment from an object kept alive only by the old pointer are safe);
// moving transfers it; destruction releases it.
//   put()      releases what is held and returns the address for an out
//              parameter: hr = storage->OpenStream(name, ..., stream.put());
//   attach(p)  adopts p, which already carries a reference for us.
//   detach()   gives the reference up to the caller ([[nodiscard]]): the
//              usual way to fill an out parameter: *ppOut = obj.detach();
//   CopyTo(pp) stores a new reference in *pp (AddRef).
//   As(&other) / As<U>() QueryInterface through the IID bound to U with
//              MLR_DECLARE_IID (platform/iid_traits.h).
// Threading: a ComPtr object is not synchronised; the reference counting it
// performs is the object's own.
#pragma once

#include "platform/iid_traits.h"
#include "platform/win.h"

#include <cstddef>
#include <utility>

namespace mlr {

template <class T>
class ComPtr {
 public:
  using InterfaceType = T;

  ComPtr() noexcept = default;
  ComPtr(std::nullptr_t) noexcept {}
  // Adds a reference to p (use attach() to adopt one instead).
  explicit ComPtr(T* p) noexcept : ptr_(p) {
    if (ptr_) ptr_->AddRef();
  }
  ComPtr(const ComPtr& other) noexcept : ComPtr(other.ptr_) {}
  ComPtr(ComPtr&& other) noexcept : ptr_(other.ptr_) { other.ptr_ = nullptr; }
  ~ComPtr() { reset(); }

  ComPtr& operator=(const ComPtr& other) noexcept {
    assign(other.ptr_);
    return *this;
  }
  ComPtr& operator=(ComPtr&& other) noexcept {
    if (this != &other) {
      T* old = ptr_;
      ptr_ = other.ptr_;
      other.ptr_ = nullptr;
      if (old) old->Release();
    }
    return *this;
  }
  ComPtr& operator=(std::nullptr_t) noexcept {
    reset();
    return *this;
  }
  // Adds a reference to p, then releases the old pointer.
  void assign(T* p) noexcept {
    if (p) p->AddRef();
    T* old = ptr_;
    ptr_ = p;
    if (old) old->Release();
  }

  T* get() const noexcept { return ptr_; }
  T* operator->() const noexcept { return ptr_; }
  T& operator*() const noexcept { return *ptr_; }
  explicit operator bool() const noexcept { return ptr_ != nullptr; }

  // Releases the held pointer and returns the slot for an out parameter.
  T** put() noexcept {
    reset();
    return &ptr_;
  }
  void** put_void() noexcept { return reinterpret_cast<void**>(put()); }

  void reset() noexcept {
    T* old = ptr_;
    ptr_ = nullptr;
    if (old) old->Release();
  }
  // Adopts p (no AddRef), releasing the old pointer.
  void attach(T* p) noexcept {
    T* old = ptr_;
    ptr_ = p;
    if (old) old->Release();
  }
  [[nodiscard]] T* detach() noexcept {
    T* p = ptr_;
    ptr_ = nullptr;
    return p;
  }
  // *pp receives a new reference (null when empty). E_POINTER for null pp.
  HRESULT CopyTo(T** pp) const noexcept {
    if (!pp) return E_POINTER;
    *pp = ptr_;
    if (ptr_) ptr_->AddRef();
    return S_OK;
  }

  // QueryInterface for U; *out is emptied first. E_POINTER when empty.
  template <class U>
  HRESULT As(ComPtr<U>* out) const noexcept {
    if (!out) return E_POINTER;
    out->reset();
    if (!ptr_) return E_POINTER;
    return ptr_->QueryInterface(IidOf<U>(), out->put_void());
  }
  template <class U>
  ComPtr<U> As() const noexcept {
    ComPtr<U> out;
    (void)As(&out);
    return out;
  }
  HRESULT QueryInterface(REFIID riid, void** ppv) const noexcept {
    if (!ppv) return E_POINTER;
    *ppv = nullptr;
    if (!ptr_) return E_POINTER;
    return ptr_->QueryInterface(riid, ppv);
  }

  void swap(ComPtr& other) noexcept { std::swap(ptr_, other.ptr_); }

 private:
  T* ptr_ = nullptr;
};

template <class T, class U>
bool operator==(const ComPtr<T>& a, const ComPtr<U>& b) { return a.get() == b.get(); }
template <class T, class U>
bool operator!=(const ComPtr<T>& a, const ComPtr<U>& b) { return a.get() != b.get(); }
template <class T>
bool operator==(const ComPtr<T>& a, std::nullptr_t) { return !a; }
template <class T>
bool operator!=(const ComPtr<T>& a, std::nullptr_t) { return static_cast<bool>(a); }

// A ComPtr adopting p's existing reference.
template <class T>
ComPtr<T> Adopt(T* p) noexcept {
  ComPtr<T> c;
  c.attach(p);
  return c;
}

// QueryInterface from any interface pointer into a typed ComPtr.
template <class U, class T>
HRESULT QueryTo(T* from, ComPtr<U>* out) noexcept {
  if (!out) return E_POINTER;
  out->reset();
  if (!from) return E_POINTER;
  return from->QueryInterface(IidOf<U>(), out->put_void());
}

}  // namespace mlr
