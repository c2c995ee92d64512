// The Windows side of platform/module.h and platform/time_zone.h: the DLL's
// handle recorded by its entry point, and resources that live in the DLL
// itself (so publishing them does nothing).
#if defined(_WIN32)

#include <atomic>

#include "platform/module.h"
#include "platform/safearray_uninit.h"
#include "platform/time_zone.h"

namespace mlr {
namespace {

std::atomic<HMODULE> g_module{nullptr};

}  // namespace

HMODULE ModuleHandle() {
  HMODULE module = g_module.load(std::memory_order_acquire);
  if (module) return module;
  // Before the entry point ran: the module that holds this function.
  GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                         GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                     reinterpret_cast<LPCSTR>(&ModuleHandle), &module);
  return module;
}

void SetModuleHandle(HMODULE module) { g_module.store(module, std::memory_order_release); }

void RegisterStrings(const StringEntry*, size_t) {}

void RegisterResource(const char*, UINT, const void*, DWORD) {}

LONG CurrentUtcBiasSeconds() {
  TIME_ZONE_INFORMATION zone;
  const DWORD id = GetTimeZoneInformation(&zone);
  LONG minutes = zone.Bias;
  if (id == TIME_ZONE_ID_DAYLIGHT) minutes += zone.DaylightBias;
  if (id == TIME_ZONE_ID_STANDARD) minutes += zone.StandardBias;
  return minutes * 60;
}

SAFEARRAY* SafeArrayCreateUninitialized(VARTYPE vt, UINT cDims, SAFEARRAYBOUND* rgsabound) {
  return SafeArrayCreate(vt, cDims, rgsabound);
}

}  // namespace mlr

#endif  // _WIN32
