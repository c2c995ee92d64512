// Rich error reporting helpers for object implementations.
//
// ReportError creates an error object (source, description, the interface's
// IID), makes it the thread's error info and returns hr, so a member can
// write `return mlr::ReportError(E_INVALIDARG, IID_IRecording, OLESTR("Recording"),
// OLESTR("..."));`. If the error object cannot be made, hr is still returned.
//
// SupportErrorInfoImpl<I> implements ISupportErrorInfo for one interface:
// InterfaceSupportsErrorInfo answers S_OK for I's IID and S_FALSE for any
// other. The class still routes IID_ISupportErrorInfo in its QueryInterface.
#pragma once

#include "platform/iid_traits.h"
#include "platform/win.h"

namespace mlr {

HRESULT ReportError(HRESULT hr, REFIID iid, const OLECHAR* source, const OLECHAR* description);
// The same with UTF-8 texts.
HRESULT ReportErrorUtf8(HRESULT hr, REFIID iid, const char* source, const char* description);

template <class I>
class SupportErrorInfoImpl : public ISupportErrorInfo {
 public:
  HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID riid) override {
    return riid == IidOf<I>() ? S_OK : S_FALSE;
  }

 protected:
  ~SupportErrorInfoImpl() = default;
};

}  // namespace mlr
