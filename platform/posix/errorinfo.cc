// Thread error info: one IErrorInfo slot per thread. SetErrorInfo replaces it
// (adding a reference to the new object), GetErrorInfo hands it over to the
// caller and empties the slot. The slot is released when the thread ends.
#if !defined(_WIN32)

#include "platform/com_ptr.h"
#include "platform/ref_count.h"
#include "platform/strings.h"
#include "platform/win.h"

#include <mutex>
#include <new>

namespace {

class ErrorObject final : public IErrorInfo, public ICreateErrorInfo {
 public:
  // IUnknown (shared by both interfaces).
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
    if (!ppv) return E_POINTER;
    if (riid == IID_IUnknown || riid == IID_IErrorInfo) {
      *ppv = static_cast<IErrorInfo*>(this);
    } else if (riid == IID_ICreateErrorInfo) {
      *ppv = static_cast<ICreateErrorInfo*>(this);
    } else {
      *ppv = nullptr;
      return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return refs_.AddRef(); }
  ULONG STDMETHODCALLTYPE Release() override {
    ULONG n = refs_.Release();
    if (n == 0) delete this;
    return n;
  }

  // IErrorInfo.
  HRESULT STDMETHODCALLTYPE GetGUID(GUID* pGUID) override {
    if (!pGUID) return E_INVALIDARG;
    std::lock_guard<std::mutex> lock(mutex_);
    *pGUID = guid_;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetSource(BSTR* out) override { return Get(source_, out); }
  HRESULT STDMETHODCALLTYPE GetDescription(BSTR* out) override { return Get(description_, out); }
  HRESULT STDMETHODCALLTYPE GetHelpFile(BSTR* out) override { return Get(help_file_, out); }
  HRESULT STDMETHODCALLTYPE GetHelpContext(DWORD* out) override {
    if (!out) return E_INVALIDARG;
    std::lock_guard<std::mutex> lock(mutex_);
    *out = help_context_;
    return S_OK;
  }

  // ICreateErrorInfo.
  HRESULT STDMETHODCALLTYPE SetGUID(REFGUID rguid) override {
    std::lock_guard<std::mutex> lock(mutex_);
    guid_ = rguid;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE SetSource(LPOLESTR text) override { return Set(&source_, text); }
  HRESULT STDMETHODCALLTYPE SetDescription(LPOLESTR text) override {
    return Set(&description_, text);
  }
  HRESULT STDMETHODCALLTYPE SetHelpFile(LPOLESTR text) override { return Set(&help_file_, text); }
  HRESULT STDMETHODCALLTYPE SetHelpContext(DWORD context) override {
    std::lock_guard<std::mutex> lock(mutex_);
    help_context_ = context;
    return S_OK;
  }

 private:
  ~ErrorObject() = default;

  HRESULT Get(const mlr::Bstr& field, BSTR* out) {
    if (!out) return E_INVALIDARG;
    std::lock_guard<std::mutex> lock(mutex_);
    *out = nullptr;
    if (!field.get()) return S_OK;
    *out = SysAllocStringLen(field.get(), field.Length());
    return *out ? S_OK : E_OUTOFMEMORY;
  }
  HRESULT Set(mlr::Bstr* field, const OLECHAR* text) {
    mlr::Bstr copy(text);
    if (text && !copy.get()) return E_OUTOFMEMORY;
    std::lock_guard<std::mutex> lock(mutex_);
    *field = std::move(copy);
    return S_OK;
  }

  mlr::RefCount refs_;
  std::mutex mutex_;
  GUID guid_ = GUID_NULL;
  mlr::Bstr source_, description_, help_file_;
  DWORD help_context_ = 0;
};

thread_local mlr::ComPtr<IErrorInfo> t_error_info;

}  // namespace

HRESULT CreateErrorInfo(ICreateErrorInfo** pperrinfo) {
  if (!pperrinfo) return E_INVALIDARG;
  *pperrinfo = nullptr;
  auto* object = new (std::nothrow) ErrorObject;
  if (!object) return E_OUTOFMEMORY;
  *pperrinfo = static_cast<ICreateErrorInfo*>(object);
  return S_OK;
}

HRESULT SetErrorInfo(ULONG, IErrorInfo* perrinfo) {
  t_error_info.assign(perrinfo);
  return S_OK;
}

HRESULT GetErrorInfo(ULONG, IErrorInfo** pperrinfo) {
  if (!pperrinfo) return E_INVALIDARG;
  *pperrinfo = t_error_info.detach();
  return *pperrinfo ? S_OK : S_FALSE;
}

#endif  // !_WIN32
