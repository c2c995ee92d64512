// Test doubles shared by the platform tests.
#pragma once

#include "platform/ref_count.h"
#include "platform/win.h"

// An IDispatch whose reference count the test can read; it is never deleted
// by Release, so a test can check that the count returns to its start.
class CountedObject : public IDispatch {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
    if (!ppv) return E_POINTER;
    if (riid == IID_IUnknown || riid == IID_IDispatch) {
      *ppv = static_cast<IDispatch*>(this);
      AddRef();
      return S_OK;
    }
    *ppv = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return refs_.AddRef(); }
  ULONG STDMETHODCALLTYPE Release() override { return refs_.Release(); }
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
    return E_NOTIMPL;
  }
  // DISPID_VALUE answers `value`.
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS*, VARIANT* result,
                                   EXCEPINFO*, UINT*) override {
    if (id != DISPID_VALUE) return DISP_E_MEMBERNOTFOUND;
    if (result) {
      result->vt = VT_I4;
      result->lVal = value;
    }
    return S_OK;
  }
  ULONG Count() const { return refs_.Peek(); }
  LONG value = 42;

 private:
  mlr::RefCount refs_{1};
};
