#include "server/class_factory.h"

#include "platform/module_lock.h"

namespace mlr::server {

HRESULT STDMETHODCALLTYPE ClassFactory::QueryInterface(REFIID riid, void** ppv) {
  if (!ppv) return E_POINTER;
  *ppv = nullptr;
  if (riid != IID_IUnknown && riid != IID_IClassFactory) return E_NOINTERFACE;
  *ppv = static_cast<IClassFactory*>(this);
  AddRef();
  return S_OK;
}

ULONG STDMETHODCALLTYPE ClassFactory::AddRef() {
  return refs_.AddRef();
}

ULONG STDMETHODCALLTYPE ClassFactory::Release() {
  const ULONG left = refs_.Release();
  if (left == 0) delete this;
  return left;
}

HRESULT STDMETHODCALLTYPE ClassFactory::CreateInstance(IUnknown* outer, REFIID riid, void** ppv) {
  if (!ppv) return E_POINTER;
  *ppv = nullptr;
  return create_(outer, riid, ppv);
}

HRESULT STDMETHODCALLTYPE ClassFactory::LockServer(BOOL lock) {
  if (lock) {
    LockModule();
  } else {
    UnlockModule();
  }
  return S_OK;
}

}  // namespace mlr::server
