#include "python/src/status_error.h"

#include "platform/com_ptr.h"
#include "platform/strings.h"
#include "tools/krf/fail.h"

namespace py = pybind11;

namespace movalegacy {
namespace {

// The library's numbered messages are reported as 0x80040000 | number.
constexpr uint32_t kMessageFirst = 10001;
constexpr uint32_t kMessageLast = 10400;

bool IsArgumentStatus(HRESULT hr) {
  return hr == DISP_E_TYPEMISMATCH || hr == DISP_E_BADPARAMCOUNT ||
         hr == DISP_E_PARAMNOTOPTIONAL || hr == DISP_E_NONAMEDARGS || hr == DISP_E_OVERFLOW;
}

// The description of the thread's error object, or "" when there is none.
std::string TakeErrorDescription() {
  mlr::ComPtr<IErrorInfo> info;
  if (GetErrorInfo(0, info.put()) != S_OK || !info) return std::string();
  mlr::Bstr description;
  if (FAILED(info->GetDescription(description.put()))) return std::string();
  return description.Utf8();
}

}  // namespace

std::string StatusName(HRESULT hr) {
  switch (hr) {
#define NAME(x) \
  case x:       \
    return #x;
    NAME(DISP_E_UNKNOWNINTERFACE)
    NAME(DISP_E_MEMBERNOTFOUND)
    NAME(DISP_E_PARAMNOTFOUND)
    NAME(DISP_E_TYPEMISMATCH)
    NAME(DISP_E_UNKNOWNNAME)
    NAME(DISP_E_NONAMEDARGS)
    NAME(DISP_E_BADVARTYPE)
    NAME(DISP_E_EXCEPTION)
    NAME(DISP_E_OVERFLOW)
    NAME(DISP_E_BADINDEX)
    NAME(DISP_E_BADPARAMCOUNT)
    NAME(DISP_E_PARAMNOTOPTIONAL)
    NAME(REGDB_E_CLASSNOTREG)
    NAME(CLASS_E_CLASSNOTAVAILABLE)
#undef NAME
    default:
      break;
  }
  const std::string known = krf::HresultName(hr);
  if (!known.empty()) return known;
  const uint32_t code = static_cast<uint32_t>(hr);
  if ((code & 0xFFFF0000u) == 0x80040000u && (code & 0xFFFFu) >= kMessageFirst &&
      (code & 0xFFFFu) <= kMessageLast) {
    return "MESSAGE_" + std::to_string(code & 0xFFFFu);
  }
  return std::string();
}

void ClearErrorInfo() { SetErrorInfo(0, nullptr); }

void RaiseStatus(HRESULT hr, const std::string& what, const std::string& message) {
  std::string text = message.empty() ? TakeErrorDescription() : message;
  const std::string name = StatusName(hr);
  if (text.empty()) text = name.empty() ? "failed" : name;
  py::module_ errors = py::module_::import("movalegacy._errors");
  py::object cls = errors.attr(IsArgumentStatus(hr) ? "ArgumentError" : "Error");
  py::object error = cls(static_cast<uint32_t>(hr), name, text, what);
  PyErr_SetObject(cls.ptr(), error.ptr());
  throw py::error_already_set();
}

void RaiseIfFailed(HRESULT hr, const std::string& what) {
  if (FAILED(hr)) RaiseStatus(hr, what, std::string());
}

}  // namespace movalegacy
