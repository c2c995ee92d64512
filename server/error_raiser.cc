#include "server/error_raiser.h"

#include <mutex>
#include <new>
#include <vector>

#include "platform/com_ptr.h"
#include "platform/module.h"

namespace mlr {

const OLECHAR kErrorSource[] = OLESTR("Kalvern Technologies Recording Definition");

namespace {

constexpr int kTextBufferSize = 1024;

// The messages are the library's string resources; publish them once, before
// the first lookup.
void EnsureMessagesRegistered() {
  static std::once_flag once;
  std::call_once(once, RegisterMessageStrings);
}

}  // namespace

HRESULT RaiseError(uint32_t number, const GUID& iid) {
  EnsureMessagesRegistered();
  char text[kTextBufferSize];
  if (LoadStringA(ModuleHandle(), number, text, kTextBufferSize) == 0) {
    static const char kUnknown[] = "Unknown Error";
    static_assert(sizeof kUnknown <= sizeof text, "buffer too small");
    for (size_t i = 0; i < sizeof kUnknown; ++i) text[i] = kUnknown[i];
  }
  HRESULT status = MessageStatus(number);

  std::vector<OLECHAR> description;
  try {
    const int needed = MultiByteToWideChar(CP_ACP, 0, text, -1, nullptr, 0);
    description.assign(needed > 0 ? static_cast<size_t>(needed) : 1, OLECHAR{0});
    if (needed > 0) {
      MultiByteToWideChar(CP_ACP, 0, text, -1, description.data(), needed);
    }
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }

  ComPtr<ICreateErrorInfo> creator;
  if (SUCCEEDED(CreateErrorInfo(creator.put())) && creator) {
    creator->SetGUID(iid);
    creator->SetSource(const_cast<LPOLESTR>(kErrorSource));
    creator->SetDescription(description.data());
    ComPtr<IErrorInfo> info;
    if (SUCCEEDED(creator.QueryInterface(IID_IErrorInfo, info.put_void())) && info) {
      SetErrorInfo(0, info.get());
    }
  }
  if (status == 0) status = DISP_E_EXCEPTION;  // cannot happen: the severity bit is set
  return status;
}

}  // namespace mlr
