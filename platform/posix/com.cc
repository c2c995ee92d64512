// Apartments, task memory, GUID text forms, the in-process class table and
// the global interface table.
#if !defined(_WIN32)

#include "platform/class_registry.h"
#include "platform/com_ptr.h"
#include "platform/posix/registered_classes.h"
#include "platform/ref_count.h"
#include "platform/win.h"

#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <new>
#include <unordered_map>
#include <vector>

namespace {

// ---- apartments ---------------------------------------------------------------

struct Apartment {
  ULONG count = 0;
  DWORD model = COINIT_MULTITHREADED;
};
thread_local Apartment t_apartment;

// ---- class table ------------------------------------------------------------------

struct ClassEntry {
  CLSID clsid;
  mlr::CreateFunction create = nullptr;   // either this...
  mlr::ComPtr<IClassFactory> factory;     // ...or this
  DWORD cookie = 0;
};

struct ClassTable {
  std::mutex mutex;
  std::vector<ClassEntry> entries;
  DWORD next_cookie = 1;
};

ClassTable& Classes() {
  static ClassTable* table = new ClassTable;  // never destroyed: used until exit
  return *table;
}

// A class factory over a creation function.
class FunctionFactory final : public IClassFactory {
 public:
  explicit FunctionFactory(mlr::CreateFunction create) : create_(create) {}
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
    if (!ppv) return E_POINTER;
    if (riid == IID_IUnknown || riid == IID_IClassFactory) {
      *ppv = static_cast<IClassFactory*>(this);
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
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID riid, void** ppv) override {
    if (!ppv) return E_POINTER;
    *ppv = nullptr;
    return create_(outer, riid, ppv);
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }

 private:
  ~FunctionFactory() = default;
  mlr::RefCount refs_;
  mlr::CreateFunction create_;
};

// ---- global interface table ---------------------------------------------------------

class GlobalInterfaceTable final : public IGlobalInterfaceTable {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
    if (!ppv) return E_POINTER;
    if (riid == IID_IUnknown || riid == IID_IGlobalInterfaceTable) {
      *ppv = static_cast<IGlobalInterfaceTable*>(this);
      return S_OK;
    }
    *ppv = nullptr;
    return E_NOINTERFACE;
  }
  // A process-wide singleton: counting is not needed.
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }

  HRESULT STDMETHODCALLTYPE RegisterInterfaceInGlobal(IUnknown* pUnk, REFIID riid,
                                                      DWORD* pdwCookie) override {
    if (!pdwCookie) return E_INVALIDARG;
    *pdwCookie = 0;
    if (!pUnk) return E_INVALIDARG;
    // Hold the riid interface, as the caller registers that interface.
    void* p = nullptr;
    HRESULT hr = pUnk->QueryInterface(riid, &p);
    if (FAILED(hr)) return hr;
    mlr::ComPtr<IUnknown> held = mlr::Adopt(static_cast<IUnknown*>(p));
    try {
      std::lock_guard<std::mutex> lock(mutex_);
      DWORD cookie = next_cookie_++;
      if (next_cookie_ == 0) next_cookie_ = 0x100;
      entries_.emplace(cookie, Entry{riid, std::move(held)});
      *pdwCookie = cookie;
    } catch (const std::bad_alloc&) {
      return E_OUTOFMEMORY;
    }
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE RevokeInterfaceFromGlobal(DWORD dwCookie) override {
    mlr::ComPtr<IUnknown> dropped;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      auto it = entries_.find(dwCookie);
      if (it == entries_.end()) return E_INVALIDARG;
      dropped = std::move(it->second.object);
      entries_.erase(it);
    }
    return S_OK;  // `dropped` is released outside the lock
  }
  HRESULT STDMETHODCALLTYPE GetInterfaceFromGlobal(DWORD dwCookie, REFIID riid,
                                                   void** ppv) override {
    if (!ppv) return E_INVALIDARG;
    *ppv = nullptr;
    mlr::ComPtr<IUnknown> object;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      auto it = entries_.find(dwCookie);
      if (it == entries_.end()) return E_INVALIDARG;
      object = it->second.object;
    }
    return object->QueryInterface(riid, ppv);
  }

 private:
  struct Entry {
    IID iid;
    mlr::ComPtr<IUnknown> object;
  };
  std::mutex mutex_;
  std::unordered_map<DWORD, Entry> entries_;
  DWORD next_cookie_ = 0x100;
};

GlobalInterfaceTable& Git() {
  static GlobalInterfaceTable* git = new GlobalInterfaceTable;  // lives until exit
  return *git;
}

// Finds the class; fills exactly one of *create / *factory.
bool LookupClass(REFCLSID clsid, mlr::CreateFunction* create,
                 mlr::ComPtr<IClassFactory>* factory) {
  ClassTable& t = Classes();
  std::lock_guard<std::mutex> lock(t.mutex);
  for (const ClassEntry& e : t.entries) {
    if (e.clsid == clsid) {
      *create = e.create;
      *factory = e.factory;
      return true;
    }
  }
  return false;
}

int HexValue(OLECHAR c) {
  if (c >= u'0' && c <= u'9') return c - u'0';
  if (c >= u'a' && c <= u'f') return c - u'a' + 10;
  if (c >= u'A' && c <= u'F') return c - u'A' + 10;
  return -1;
}

// Parses "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}".
bool ParseGuid(LPCOLESTR s, GUID* out) {
  static const char kPattern[] = "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}";
  BYTE bytes[16];
  int nibble = 0;
  for (size_t i = 0; i < sizeof kPattern - 1; ++i) {
    if (!s[i]) return false;
    if (kPattern[i] == 'X') {
      int v = HexValue(s[i]);
      if (v < 0) return false;
      if (nibble % 2 == 0) {
        bytes[nibble / 2] = static_cast<BYTE>(v << 4);
      } else {
        bytes[nibble / 2] |= static_cast<BYTE>(v);
      }
      ++nibble;
    } else if (s[i] != static_cast<OLECHAR>(kPattern[i])) {
      return false;
    }
  }
  if (s[sizeof kPattern - 1]) return false;
  out->Data1 = (DWORD{bytes[0]} << 24) | (DWORD{bytes[1]} << 16) | (DWORD{bytes[2]} << 8) | bytes[3];
  out->Data2 = static_cast<WORD>((bytes[4] << 8) | bytes[5]);
  out->Data3 = static_cast<WORD>((bytes[6] << 8) | bytes[7]);
  for (int i = 0; i < 8; ++i) out->Data4[i] = bytes[8 + i];
  return true;
}

}  // namespace

namespace mlr {

HRESULT RegisterClassObject(REFCLSID clsid, CreateFunction create) {
  if (!create) return E_INVALIDARG;
  ClassTable& t = Classes();
  ComPtr<IClassFactory> dropped;
  try {
    std::lock_guard<std::mutex> lock(t.mutex);
    for (ClassEntry& e : t.entries) {
      if (e.clsid == clsid) {
        dropped = std::move(e.factory);
        e.create = create;
        return S_OK;
      }
    }
    ClassEntry e;
    e.clsid = clsid;
    e.create = create;
    e.cookie = t.next_cookie++;
    t.entries.push_back(std::move(e));
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  return S_OK;
}

HRESULT RevokeClassObject(REFCLSID clsid) {
  ClassTable& t = Classes();
  ComPtr<IClassFactory> dropped;
  std::lock_guard<std::mutex> lock(t.mutex);
  for (auto it = t.entries.begin(); it != t.entries.end(); ++it) {
    if (it->clsid == clsid) {
      dropped = std::move(it->factory);
      t.entries.erase(it);
      return S_OK;
    }
  }
  return S_FALSE;
}

}  // namespace mlr

HRESULT CoInitialize(LPVOID pvReserved) {
  return CoInitializeEx(pvReserved, COINIT_APARTMENTTHREADED);
}

HRESULT CoInitializeEx(LPVOID pvReserved, DWORD dwCoInit) {
  if (pvReserved) return E_INVALIDARG;
  DWORD model = (dwCoInit & COINIT_APARTMENTTHREADED) ? COINIT_APARTMENTTHREADED
                                                      : COINIT_MULTITHREADED;
  Apartment& a = t_apartment;
  if (a.count == 0) {
    a.model = model;
    a.count = 1;
    return S_OK;
  }
  if (a.model != model) return RPC_E_CHANGED_MODE;
  ++a.count;
  return S_FALSE;
}

void CoUninitialize(void) {
  if (t_apartment.count > 0) --t_apartment.count;
}

HRESULT CoGetClassObject(REFCLSID rclsid, DWORD dwClsContext, LPVOID pvReserved, REFIID riid,
                         LPVOID* ppv) {
  if (!ppv) return E_INVALIDARG;
  *ppv = nullptr;
  if (pvReserved) return E_INVALIDARG;
  if (!(dwClsContext & CLSCTX_INPROC)) return REGDB_E_CLASSNOTREG;
  mlr::CreateFunction create = nullptr;
  mlr::ComPtr<IClassFactory> factory;
  if (!LookupClass(rclsid, &create, &factory)) {
    return mlr::posix::GetRegisteredClassObject(rclsid, riid, ppv);
  }
  if (!factory) {
    auto* f = new (std::nothrow) FunctionFactory(create);
    if (!f) return E_OUTOFMEMORY;
    factory.attach(f);
  }
  return factory->QueryInterface(riid, ppv);
}

HRESULT CoCreateInstance(REFCLSID rclsid, IUnknown* pUnkOuter, DWORD dwClsContext, REFIID riid,
                         LPVOID* ppv) {
  if (!ppv) return E_POINTER;
  *ppv = nullptr;
  if (rclsid == CLSID_StdGlobalInterfaceTable) {
    if (pUnkOuter) return CLASS_E_NOAGGREGATION;
    return Git().QueryInterface(riid, ppv);
  }
  if (!(dwClsContext & CLSCTX_INPROC)) return REGDB_E_CLASSNOTREG;
  mlr::CreateFunction create = nullptr;
  mlr::ComPtr<IClassFactory> factory;
  if (!LookupClass(rclsid, &create, &factory)) {
    HRESULT hr = mlr::posix::GetRegisteredClassObject(rclsid, IID_IClassFactory,
                                                      reinterpret_cast<void**>(factory.put()));
    if (FAILED(hr)) return hr;
  }
  HRESULT hr = create ? create(pUnkOuter, riid, ppv)
                      : factory->CreateInstance(pUnkOuter, riid, ppv);
  if (FAILED(hr)) *ppv = nullptr;
  return hr;
}

HRESULT CoRegisterClassObject(REFCLSID rclsid, IUnknown* pUnk, DWORD, DWORD,
                              LPDWORD lpdwRegister) {
  if (!pUnk || !lpdwRegister) return E_INVALIDARG;
  *lpdwRegister = 0;
  mlr::ComPtr<IClassFactory> factory;
  HRESULT hr = mlr::QueryTo(pUnk, &factory);
  if (FAILED(hr)) return hr;
  ClassTable& t = Classes();
  mlr::ComPtr<IClassFactory> dropped;
  try {
    std::lock_guard<std::mutex> lock(t.mutex);
    DWORD cookie = t.next_cookie++;
    for (ClassEntry& e : t.entries) {
      if (e.clsid == rclsid) {
        dropped = std::move(e.factory);
        e.factory = std::move(factory);
        e.create = nullptr;
        e.cookie = cookie;
        *lpdwRegister = cookie;
        return S_OK;
      }
    }
    ClassEntry e;
    e.clsid = rclsid;
    e.factory = std::move(factory);
    e.cookie = cookie;
    t.entries.push_back(std::move(e));
    *lpdwRegister = cookie;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  return S_OK;
}

HRESULT CoRevokeClassObject(DWORD dwRegister) {
  ClassTable& t = Classes();
  mlr::ComPtr<IClassFactory> dropped;
  std::lock_guard<std::mutex> lock(t.mutex);
  for (auto it = t.entries.begin(); it != t.entries.end(); ++it) {
    if (it->cookie == dwRegister && dwRegister != 0) {
      dropped = std::move(it->factory);
      t.entries.erase(it);
      return S_OK;
    }
  }
  return CO_E_OBJNOTREG;
}

LPVOID CoTaskMemAlloc(SIZE_T cb) { return std::malloc(cb ? cb : 1); }

LPVOID CoTaskMemRealloc(LPVOID pv, SIZE_T cb) { return std::realloc(pv, cb ? cb : 1); }

void CoTaskMemFree(LPVOID pv) { std::free(pv); }

int StringFromGUID2(REFGUID rguid, LPOLESTR lpsz, int cchMax) {
  if (!lpsz || cchMax < 39) return 0;
  char buf[40];
  std::snprintf(buf, sizeof buf, "{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}",
                rguid.Data1, rguid.Data2, rguid.Data3, rguid.Data4[0], rguid.Data4[1],
                rguid.Data4[2], rguid.Data4[3], rguid.Data4[4], rguid.Data4[5], rguid.Data4[6],
                rguid.Data4[7]);
  for (int i = 0; i < 39; ++i) lpsz[i] = static_cast<OLECHAR>(buf[i]);
  return 39;
}

HRESULT CLSIDFromString(LPCOLESTR lpsz, LPCLSID pclsid) {
  if (!pclsid) return E_INVALIDARG;
  if (!lpsz || !lpsz[0]) {
    *pclsid = CLSID_NULL;
    return S_OK;
  }
  if (!ParseGuid(lpsz, pclsid)) {
    *pclsid = CLSID_NULL;
    return CO_E_CLASSSTRING;
  }
  return S_OK;
}

HRESULT IIDFromString(LPCOLESTR lpsz, LPIID lpiid) {
  if (!lpiid) return E_INVALIDARG;
  if (!lpsz) {
    *lpiid = IID_NULL;
    return S_OK;
  }
  if (!ParseGuid(lpsz, lpiid)) return CO_E_IIDSTRING;
  return S_OK;
}

#endif  // !_WIN32
