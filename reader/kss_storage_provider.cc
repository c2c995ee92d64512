#include "reader/kss_storage_provider.h"
#include "model/static_class_factory.h"

#include <mutex>
#include <new>
#include <string>

#include "platform/ref_count.h"
#include "reader/text_convert.h"

namespace mlr::reader {
namespace {

// A system error code as an HRESULT (facility 7, as the Windows macro gives it).
HRESULT FromSystemError(DWORD error) {
  return error == 0 ? E_FAIL : static_cast<HRESULT>((error & 0xFFFFu) | 0x80070000u);
}

DWORD OpenMode(LONG mode) {
  return ((mode & kKssModeReadWrite) ? STGM_READWRITE : STGM_READ) | STGM_SHARE_EXCLUSIVE;
}

class KssStorageProvider final : public IKssStorageProvider {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
    if (!ppv) return E_POINTER;
    *ppv = nullptr;
    if (riid == IID_IUnknown || riid == IID_IDispatch || riid == IID_IKssStorageProvider) {
      *ppv = static_cast<IKssStorageProvider*>(this);
      AddRef();
      return S_OK;
    }
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override {
    return refs_.AddRef();
  }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = refs_.Release();
    if (left == 0) delete this;
    return left;
  }

  // Automation: the provider is reached through its vtable only; late-bound
  // callers find no members.
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* pctinfo) override {
    if (!pctinfo) return E_POINTER;
    *pctinfo = 0;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo** ppTInfo) override {
    if (ppTInfo) *ppTInfo = nullptr;
    return DISP_E_BADINDEX;
  }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT cNames, LCID,
                                          DISPID* rgDispId) override {
    for (UINT i = 0; rgDispId && i < cNames; ++i) rgDispId[i] = DISPID_UNKNOWN;
    return DISP_E_UNKNOWNNAME;
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*,
                                   EXCEPINFO*, UINT*) override {
    return DISP_E_MEMBERNOTFOUND;
  }

  HRESULT STDMETHODCALLTYPE OpenStorage(BSTR FileName, LONG Mode, IStorage** Storage) override {
    if (!Storage) return E_POINTER;
    *Storage = nullptr;
    if (!FileName) return E_INVALIDARG;
    return StgOpenStorage(FileName, nullptr, OpenMode(Mode), nullptr, 0, Storage);
  }

  HRESULT STDMETHODCALLTYPE CreateStorage(const OLECHAR* Path, LONG, IStorage** Storage) override {
    if (!Storage) return E_POINTER;
    *Storage = nullptr;
    if (!Path) return E_INVALIDARG;
    STGOPTIONS options{};
    options.usVersion = 1;
    options.ulSectorSize = 4096;
    return StgCreateStorageEx(Path, STGM_CREATE | STGM_READWRITE | STGM_SHARE_EXCLUSIVE,
                              STGFMT_DOCFILE, 0, &options, nullptr, IID_IStorage,
                              reinterpret_cast<void**>(Storage));
  }

  HRESULT STDMETHODCALLTYPE DeleteFile(const OLECHAR* Path) override {
    if (!Path) return E_INVALIDARG;
    try {
      const std::string ansi = Utf16ToAnsi(Path);
      return ::DeleteFileA(ansi.c_str()) ? S_OK : FromSystemError(GetLastError());
    } catch (const std::bad_alloc&) {
      return E_OUTOFMEMORY;
    }
  }

  HRESULT STDMETHODCALLTYPE FileSize(BSTR Path, LONGLONG* Size) override {
    if (!Size) return E_POINTER;
    *Size = 0;
    if (!Path) return E_INVALIDARG;
    try {
      const std::string ansi = Utf16ToAnsi(Path);
      HANDLE file = CreateFileA(ansi.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
      if (file == INVALID_HANDLE_VALUE) return FromSystemError(GetLastError());
      LARGE_INTEGER size{};
      const BOOL ok = GetFileSizeEx(file, &size);
      const DWORD error = GetLastError();
      CloseHandle(file);
      if (!ok) return FromSystemError(error);
      *Size = size.QuadPart;
      return S_OK;
    } catch (const std::bad_alloc&) {
      return E_OUTOFMEMORY;
    }
  }

 private:
  ~KssStorageProvider() = default;
  mlr::RefCount refs_{1};
};

// The class object: a static, never deleted.
class KssStorageProviderFactory final : public mlr::model::StaticClassFactory {
 public:
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID riid, void** ppv) override {
    return CreateKssStorageProviderInstance(outer, riid, ppv);
  }
};

KssStorageProviderFactory g_factory;

}  // namespace

HRESULT CreateKssStorageProviderInstance(IUnknown* outer, REFIID riid, void** ppv) {
  if (!ppv) return E_POINTER;
  *ppv = nullptr;
  if (outer) return CLASS_E_NOAGGREGATION;
  KssStorageProvider* provider = new (std::nothrow) KssStorageProvider();
  if (!provider) return E_OUTOFMEMORY;
  const HRESULT hr = provider->QueryInterface(riid, ppv);
  provider->Release();
  return hr;
}

HRESULT RegisterKssStorageProvider() {
  static std::once_flag once;
  static HRESULT result = E_FAIL;
  std::call_once(once, [] {
    DWORD cookie = 0;
    result = CoRegisterClassObject(CLSID_KssStorageProvider, &g_factory, CLSCTX_INPROC_SERVER,
                                   REGCLS_MULTIPLEUSE, &cookie);
  });
  return result;
}

HRESULT CreateKssStorageProvider(IKssStorageProvider** provider) {
  if (!provider) return E_POINTER;
  *provider = nullptr;
  (void)RegisterKssStorageProvider();
  return CoCreateInstance(CLSID_KssStorageProvider, nullptr, CLSCTX_ALL, IID_IKssStorageProvider,
                          reinterpret_cast<void**>(provider));
}

}  // namespace mlr::reader
