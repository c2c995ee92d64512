// IUnknown, IClassFactory and IMalloc for the POSIX build, in the Windows
// vtable order, with their Windows IIDs. Included through platform/win.h.
#pragma once

#include "platform/guid.h"
#include "platform/hresult.h"

inline constexpr IID IID_IUnknown = {0x00000000, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_IClassFactory = {0x00000001, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_IMalloc = {0x00000002, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

struct IUnknown {
  virtual HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppvObject) = 0;
  virtual ULONG STDMETHODCALLTYPE AddRef() = 0;
  virtual ULONG STDMETHODCALLTYPE Release() = 0;

 protected:
  // Objects are destroyed by Release, never through an interface pointer.
  ~IUnknown() = default;
};
typedef IUnknown* LPUNKNOWN;

struct IClassFactory : public IUnknown {
  virtual HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* pUnkOuter, REFIID riid,
                                                   void** ppvObject) = 0;
  virtual HRESULT STDMETHODCALLTYPE LockServer(BOOL fLock) = 0;

 protected:
  ~IClassFactory() = default;
};
typedef IClassFactory* LPCLASSFACTORY;

struct IMalloc : public IUnknown {
  virtual void* STDMETHODCALLTYPE Alloc(SIZE_T cb) = 0;
  virtual void* STDMETHODCALLTYPE Realloc(void* pv, SIZE_T cb) = 0;
  virtual void STDMETHODCALLTYPE Free(void* pv) = 0;
  virtual SIZE_T STDMETHODCALLTYPE GetSize(void* pv) = 0;
  virtual int STDMETHODCALLTYPE DidAlloc(void* pv) = 0;
  virtual void STDMETHODCALLTYPE HeapMinimize() = 0;

 protected:
  ~IMalloc() = default;
};
typedef IMalloc* LPMALLOC;
