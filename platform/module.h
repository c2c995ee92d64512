// The library's own module handle and the process-wide string table.
//
// ModuleHandle(): recorded when the library is loaded (a static initialiser
// asks dladdr for the object that contains a function of the library): the
// shared library itself, or the executable when the library's objects are
// linked statically into it. GetProcAddress on it finds the library's
// exported functions either way (executables export their symbols). Never
// null after start-up; needs no FreeLibrary. The shared library keeps itself
// loaded until the process ends (its per-thread and process-wide state must
// outlive a client's FreeLibrary). On Windows the module entry
// point records the DLL's handle with SetModuleHandle.
//
// String table (POSIX; on Windows the module's string table resource is used
// and RegisterStrings does nothing): LoadStringA reads from a fixed table filled at start-up by
// RegisterStrings (for example the library's message table). Later
// registrations of an id replace earlier ones. The texts must stay valid for
// the life of the process (string literals). Thread-safe.
#pragma once

#include "platform/win.h"

#include <cstddef>

namespace mlr {

HMODULE ModuleHandle();
void SetModuleHandle(HMODULE module);

struct StringEntry {
  UINT id;
  const char* text;  // UTF-8
};
void RegisterStrings(const StringEntry* entries, size_t count);
template <size_t N>
void RegisterStrings(const StringEntry (&entries)[N]) {
  RegisterStrings(entries, N);
}

// Resource table: FindResourceA(module, MAKEINTRESOURCEA(id), type) then
// finds `size` bytes at `data` (which must live as long as the process).
// Registering a (type, id) again replaces it. On Windows the module's own
// resources are used and this does nothing. Thread-safe.
void RegisterResource(const char* type, UINT id, const void* data, DWORD size);

}  // namespace mlr
