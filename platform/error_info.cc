#include "platform/error_info.h"

#include "platform/com_ptr.h"
#include "platform/strings.h"

#include <new>

namespace mlr {

HRESULT ReportError(HRESULT hr, REFIID iid, const OLECHAR* source, const OLECHAR* description) {
  ComPtr<ICreateErrorInfo> create;
  if (FAILED(CreateErrorInfo(create.put()))) return hr;
  create->SetGUID(iid);
  create->SetSource(const_cast<LPOLESTR>(source));
  create->SetDescription(const_cast<LPOLESTR>(description));
  ComPtr<IErrorInfo> info;
  if (SUCCEEDED(create.As(&info))) SetErrorInfo(0, info.get());
  return hr;
}

HRESULT ReportErrorUtf8(HRESULT hr, REFIID iid, const char* source, const char* description) {
  try {
    OleString s = ToUtf16(source);
    OleString d = ToUtf16(description);
    return ReportError(hr, iid, s.c_str(), d.c_str());
  } catch (const std::bad_alloc&) {
    return hr;
  }
}

}  // namespace mlr
