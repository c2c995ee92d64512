// Links the shared library (not the static archive) and checks, through its
// exported functions only, that the module of a library function is the
// shared library itself: its file name, and that GetProcAddress on it finds
// the library's exports. Exit status 0 on success.
#include "platform/win.h"

#include <cstdio>
#include <cstring>

int main() {
  HMODULE lib = nullptr;
  if (!GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                              GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                          reinterpret_cast<LPCSTR>(&SysAllocString), &lib)) {
    std::printf("module probe: no module for SysAllocString\n");
    return 1;
  }
  char path[4096];
  DWORD n = GetModuleFileNameA(lib, path, sizeof path);
  std::printf("module probe: SysAllocString lives in %.*s\n", static_cast<int>(n), path);
  if (n == 0 || !std::strstr(path, "libmovaLegacyRecording.so")) return 1;
  FARPROC clear = GetProcAddress(lib, "VariantClear");
  if (reinterpret_cast<void*>(clear) != reinterpret_cast<void*>(&VariantClear)) {
    std::printf("module probe: GetProcAddress(VariantClear) does not find the export\n");
    return 1;
  }
  HMODULE exe = GetModuleHandleA(nullptr);
  if (!exe || exe == lib) {
    std::printf("module probe: the executable's handle is wrong\n");
    return 1;
  }
  std::printf("module probe: ok\n");
  return 0;
}
