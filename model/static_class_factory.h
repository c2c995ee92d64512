// Base of a class object kept in static storage for the whole process: it is
// never deleted, so AddRef and Release count nothing, QueryInterface hands out
// the object itself for IUnknown and IClassFactory, and LockServer has nothing
// to hold. Derived classes supply CreateInstance. Thread-safe: no state.
#pragma once

#include "platform/win.h"

namespace mlr::model {

class StaticClassFactory : public IClassFactory {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
    if (!ppv) return E_POINTER;
    *ppv = nullptr;
    if (riid == IID_IUnknown || riid == IID_IClassFactory) {
      *ppv = static_cast<IClassFactory*>(this);
      return S_OK;
    }
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }
};

}  // namespace mlr::model
