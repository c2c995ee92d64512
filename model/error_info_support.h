// `ISupportErrorInfo` for one interface.
//
// Every class of the object model derives from
// `URI_ISupportErrorInfoImpl<&IID_Ixxx>` for its own interface:
// `InterfaceSupportsErrorInfo(riid)` answers S_OK for that one identifier and
// S_FALSE for any other. The deriving class supplies IUnknown (its own
// AddRef/Release/QueryInterface override these pure members too) and answers
// IID_ISupportErrorInfo in its QueryInterface.
#pragma once

#include "platform/win.h"

template <const IID* SupportedIid>
class URI_ISupportErrorInfoImpl : public ISupportErrorInfo {
 public:
  HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID riid) override {
    return riid == *SupportedIid ? S_OK : S_FALSE;
  }

 protected:
  ~URI_ISupportErrorInfoImpl() = default;
};
