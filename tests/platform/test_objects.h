// Test doubles and argument makers shared by the tests of several folders.
#pragma once

#include "platform/ref_count.h"
#include "platform/win.h"

#include <string>

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

// A controlling object for aggregation tests: it counts the references it
// receives and delegates every interface but IUnknown to `inner`.
class CountingOuter final : public IUnknown {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
    if (riid != IID_IUnknown) return inner->QueryInterface(riid, ppv);
    *ppv = this;
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++refs; }
  ULONG STDMETHODCALLTYPE Release() override { return --refs; }
  ULONG refs = 1;
  IUnknown* inner = nullptr;
};

// VARIANT values for arguments and conversion sources. A VT_BSTR one owns
// its string (VariantClear frees it); the by-reference ones borrow.
inline VARIANT MakeVariant(VARTYPE vt) {
  VARIANT v;
  VariantInit(&v);
  v.vt = vt;
  return v;
}
inline VARIANT I4(LONG value) {
  VARIANT v = MakeVariant(VT_I4);
  v.lVal = value;
  return v;
}
inline VARIANT R8(double value) {
  VARIANT v = MakeVariant(VT_R8);
  v.dblVal = value;
  return v;
}
inline VARIANT Bool(bool value) {
  VARIANT v = MakeVariant(VT_BOOL);
  v.boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
  return v;
}
inline VARIANT Date(DATE value) {
  VARIANT v = MakeVariant(VT_DATE);
  v.date = value;
  return v;
}
inline VARIANT Str(const char16_t* text) {
  VARIANT v = MakeVariant(VT_BSTR);
  v.bstrVal = SysAllocString(text);
  return v;
}
inline VARIANT Object(VARTYPE vt, IUnknown* object) {  // VT_UNKNOWN or VT_DISPATCH, borrowed
  VARIANT v = MakeVariant(vt);
  v.punkVal = object;
  return v;
}
inline VARIANT Array(VARTYPE vt, SAFEARRAY* array) {  // owns the array
  VARIANT v = MakeVariant(VT_ARRAY | vt);
  v.parray = array;
  return v;
}
inline VARIANT RefI4(LONG* target) {
  VARIANT v = MakeVariant(VT_BYREF | VT_I4);
  v.plVal = target;
  return v;
}
inline VARIANT RefVariant(VARIANT* target) {
  VARIANT v = MakeVariant(VT_BYREF | VT_VARIANT);
  v.pvarVal = target;
  return v;
}
// An argument left out by the caller.
inline VARIANT Missing() {
  VARIANT v = MakeVariant(VT_ERROR);
  v.scode = DISP_E_PARAMNOTFOUND;
  return v;
}
// A BSTR's text (a null BSTR is empty).
inline std::u16string TextOf(BSTR text) {
  return text ? std::u16string(text, SysStringLen(text)) : std::u16string();
}

// The calling thread's error object, taken (which clears it); `present` is
// false when there is none.
struct ThreadError {
  bool present = false;
  GUID guid{};
  std::u16string source;
  std::u16string description;
};
inline ThreadError TakeThreadError() {
  ThreadError out;
  IErrorInfo* info = nullptr;
  if (GetErrorInfo(0, &info) != S_OK || !info) return out;
  out.present = true;
  info->GetGUID(&out.guid);
  BSTR source = nullptr;
  BSTR description = nullptr;
  info->GetSource(&source);
  info->GetDescription(&description);
  out.source = TextOf(source);
  out.description = TextOf(description);
  SysFreeString(source);
  SysFreeString(description);
  info->Release();
  return out;
}
