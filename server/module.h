// The library's module entry points, exported with C linkage.
//
// DllMain(module, reason, reserved): on process attach records the module
//   handle, publishes the module's resources where the platform has none
//   (the message table and the registration scripts), sets up the class
//   table's critical section and turns off thread notifications; on process
//   detach releases the cached class objects and deletes the critical
//   section. Returns TRUE in every case.
// DllCanUnloadNow(): S_OK when the module's lock count (live objects plus
//   server locks) is 0, otherwise S_FALSE.
// DllGetClassObject(clsid, iid, out): the class object of one of the two
//   creatable classes (server/class_table.h), queried for iid;
//   CLASS_E_CLASSNOTAVAILABLE for any other class. E_POINTER for a null out.
// DllRegisterServer(): runs each class's registration script in registering
//   mode with %MODULE% = the module's full path, then registers the type
//   library (platform/type_library.h). Stops at the first failure and
//   returns it; nothing is rolled back.
// DllUnregisterServer(): the same in unregistering mode, then unregisters
//   the type library (a type library that is not registered is no failure).
//
// All may be called from any thread.
#pragma once

#include <string>

#include "platform/export.h"
#include "platform/win.h"

MLR_API BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID reserved);
MLR_API HRESULT STDAPICALLTYPE DllCanUnloadNow(void);
MLR_API HRESULT STDAPICALLTYPE DllGetClassObject(REFCLSID rclsid, REFIID riid, LPVOID* ppv);
MLR_API HRESULT STDAPICALLTYPE DllRegisterServer(void);
MLR_API HRESULT STDAPICALLTYPE DllUnregisterServer(void);

namespace mlr::server {

// The registration script `id` (resource type "REGISTRY") of the module, as
// text; false when the module has no such resource.
bool LoadRegistrationScript(UINT id, std::string* text);

}  // namespace mlr::server
