// Class activation through the registry (POSIX build, internal to
// platform/posix): used by CoCreateInstance and CoGetClassObject for classes
// that are not registered in-process. See platform/ole32.h.
#pragma once

#include "platform/win.h"

namespace mlr::posix {

// The class object of a class registered in the registry, queried for riid.
HRESULT GetRegisteredClassObject(REFCLSID clsid, REFIID riid, void** ppv);

}  // namespace mlr::posix
