// Aggregation support for creatable classes.
//
// `Aggregated<T>` is a T whose IUnknown members delegate to a controlling
// (outer) object, plus the separate non-delegating IUnknown that the outer
// object holds and through which it alone controls T's lifetime:
//
//   - T must implement QueryInterface by handing out its interfaces with
//     AddRef() (a virtual call, which here goes to the outer object), and
//     AddRef/Release over its own count, deleting itself at zero; its
//     destructor must be reachable (protected or public) and virtual.
//   - The inner IUnknown answers IID_IUnknown with itself and every other
//     IID through T's own QueryInterface; its AddRef/Release are T's.
//   - Every interface pointer handed out of T counts on the outer object.
//
// CreateInstance<T>(outer, riid, ppv) is the creation routine of a class
// object: a plain T when `outer` is null, otherwise an Aggregated<T>, which
// may only be asked for IID_IUnknown (CLASS_E_NOAGGREGATION otherwise, as
// COM requires). T's reference count must start at 0. *ppv is null on
// failure. Never throws.
#pragma once

#include <new>

#include "platform/win.h"

namespace mlr::model {

template <class T>
class Aggregated final : public T {
 public:
  explicit Aggregated(IUnknown* outer) : outer_(outer), inner_(this) {}

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
    return outer_->QueryInterface(riid, ppv);
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return outer_->AddRef(); }
  ULONG STDMETHODCALLTYPE Release() override { return outer_->Release(); }

  IUnknown* inner() { return &inner_; }

 private:
  class Inner final : public IUnknown {
   public:
    explicit Inner(Aggregated* self) : self_(self) {}
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
      if (!ppv) return E_POINTER;
      if (riid == IID_IUnknown) {
        *ppv = static_cast<IUnknown*>(this);
        AddRef();
        return S_OK;
      }
      return self_->T::QueryInterface(riid, ppv);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return self_->T::AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return self_->T::Release(); }

   private:
    Aggregated* const self_;
  };

  IUnknown* const outer_;  // not counted: the outer object owns us
  Inner inner_;
};

template <class T>
HRESULT CreateInstance(IUnknown* outer, REFIID riid, void** ppv) {
  if (!ppv) return E_POINTER;
  *ppv = nullptr;
  if (outer) {
    if (riid != IID_IUnknown) return CLASS_E_NOAGGREGATION;
    auto* object = new (std::nothrow) Aggregated<T>(outer);
    if (!object) return E_OUTOFMEMORY;
    IUnknown* inner = object->inner();
    inner->AddRef();
    *ppv = inner;
    return S_OK;
  }
  T* object = new (std::nothrow) T();
  if (!object) return E_OUTOFMEMORY;
  object->AddRef();
  const HRESULT hr = object->QueryInterface(riid, ppv);
  object->Release();
  return hr;
}

}  // namespace mlr::model
