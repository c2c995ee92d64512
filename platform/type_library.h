// Registering the library's own type library, on both platforms.
//
// Windows: RegisterModuleTypeLib loads the type library from the module's
// resources (LoadTypeLibEx without registration) and registers it with
// RegisterTypeLib; UnregisterModuleTypeLib calls UnRegisterTypeLib with the
// description's identity. The description's texts are not used there.
//
// POSIX (no type-library binary exists there): RegisterModuleTypeLib writes
// what a client looks up, under HKEY_CLASSES_ROOT\TypeLib\{libid}:
//     <major>.<minor>            = the help string
//     <major>.<minor>\FLAGS      = "0"
//     <major>.<minor>\HELPDIR    = the module's directory
//     <major>.<minor>\<lcid>\posix = the module's full path
// (version and lcid in hexadecimal); QueryPathOfRegTypeLib reads it.
// UnregisterModuleTypeLib deletes the <major>.<minor> tree and the library's
// key when nothing else is left under it. Both return the first failing
// registry call's status as an HRESULT (HRESULT_FROM_WIN32).
#pragma once

#include "platform/win.h"

namespace mlr {

struct TypeLibDescription {
  GUID libid;
  WORD major;
  WORD minor;
  LCID lcid;
  const OLECHAR* help_string;
};

HRESULT RegisterModuleTypeLib(const OLECHAR* module_path, const TypeLibDescription& lib);
HRESULT UnregisterModuleTypeLib(const TypeLibDescription& lib);

}  // namespace mlr
