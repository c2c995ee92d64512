// The umbrella header of the platform layer: every subsystem includes this
// (and only this, plus the helpers of platform/) to reach the Windows API.
//
// On Windows it includes the system headers and adds nothing. On POSIX it
// declares the same subset under the same names, types, values and semantics,
// implemented by platform/ (the structured-storage entry points by storage/):
//   wintypes.h  basic types, FILETIME, SYSTEMTIME, LARGE_INTEGER, CY, DECIMAL
//   hresult.h   status codes, SUCCEEDED/FAILED/MAKE_HRESULT, Win32 errors
//   guid.h      GUID/IID/CLSID with equality
//   unknwn.h    IUnknown, IClassFactory, IMalloc
//   oaidl.h     VARIANT, SAFEARRAY, DISPPARAMS, EXCEPINFO, IDispatch,
//               IEnumVARIANT, ISupportErrorInfo, IErrorInfo, ICreateErrorInfo
//   objidl.h    IStream, IStorage, IEnumSTATSTG, IGlobalInterfaceTable, STGM_*
//   propidl.h   PROPVARIANT, IPropertyStorage, IPropertySetStorage
//   oleauto.h   Sys*, Variant*, SafeArray*, error info, automation dates
//   ole32.h     Co*, CreateStreamOnHGlobal, PropVariant*, Stg*
//   kernel.h    files, time, modules, threads, events, waits, conversions
//   winreg.h    the registry (one file per user)
#pragma once

#if defined(_WIN32)
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#include <ole2.h>
#include <oleauto.h>
#include <objidl.h>
#include <propidl.h>
#include <mmsystem.h>
#if defined(__MINGW64_VERSION_MAJOR) && __MINGW64_VERSION_MAJOR < 11
// Older mingw-w64 headers lack SetThreadDescription (Windows 10): resolved
// at run time, and a no-op where the system has none.
inline HRESULT SetThreadDescription(HANDLE thread, PCWSTR description) {
  using Fn = HRESULT(WINAPI*)(HANDLE, PCWSTR);
  HMODULE kernel = GetModuleHandleA("kernel32.dll");
  FARPROC proc = kernel ? GetProcAddress(kernel, "SetThreadDescription") : nullptr;
  if (!proc) return E_NOTIMPL;
  return reinterpret_cast<Fn>(reinterpret_cast<void (*)()>(proc))(thread, description);
}
#endif
#else
#include "platform/wintypes.h"
#include "platform/hresult.h"
#include "platform/guid.h"
#include "platform/unknwn.h"
#include "platform/oaidl.h"
#include "platform/objidl.h"
#include "platform/propidl.h"
#include "platform/oleauto.h"
#include "platform/ole32.h"
#include "platform/kernel.h"
#include "platform/winreg.h"
#endif
