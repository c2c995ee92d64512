// Modules over dlopen/dlsym, the library's own module handle, and the
// string table behind LoadStringA.
#if !defined(_WIN32)

#include "platform/module.h"
#include "platform/posix/handles.h"
#include "platform/win.h"

#include <dlfcn.h>
#include <limits.h>
#include <link.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <new>
#include <string>

namespace {

std::mutex& ModuleMutex() {
  static std::mutex* m = new std::mutex;
  return *m;
}
HMODULE g_module = nullptr;  // guarded by ModuleMutex()

// The path of the running executable.
std::string ExecutablePath() {
  char buf[PATH_MAX];
  ssize_t n = readlink("/proc/self/exe", buf, sizeof buf - 1);
  if (n <= 0) return std::string();
  return std::string(buf, static_cast<size_t>(n));
}

std::string RealPath(const char* path) {
  char* r = realpath(path, nullptr);
  if (!r) return std::string();
  std::string s = r;
  std::free(r);
  return s;
}

// The handle of the object that contains `address`: the executable's
// (dlopen(NULL)) when the address lies in it, otherwise the shared object's.
// Unless `pin` is set the handle is not counted: the object stays loaded as
// long as it was; with `pin` it stays loaded until the process ends.
HMODULE ModuleOfAddress(const void* address, bool pin) {
  Dl_info info;
  if (!dladdr(address, &info) || !info.dli_fname) return nullptr;
  std::string object = RealPath(info.dli_fname);
  if (object.empty() || object == RealPath(ExecutablePath().c_str())) {
    return reinterpret_cast<HMODULE>(dlopen(nullptr, RTLD_NOW));
  }
  void* h = dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD);
  if (h && !pin) dlclose(h);  // still loaded: it holds `address`
  return reinterpret_cast<HMODULE>(h);
}

// The object that contains this function: the shared library, or the
// executable when the library is linked into it. The library pins itself:
// its thread-local error info and process-wide tables must outlive any
// FreeLibrary of a client.
HMODULE FindOwnModule() {
  HMODULE h = ModuleOfAddress(reinterpret_cast<const void*>(&FindOwnModule), true);
  return h ? h : reinterpret_cast<HMODULE>(dlopen(nullptr, RTLD_NOW));
}

// Records the handle when the library (or executable) is loaded.
const bool kModuleRecorded = [] {
  mlr::ModuleHandle();
  return true;
}();

struct StringTable {
  std::mutex mutex;
  std::map<UINT, const char*> strings;
};
StringTable& Strings() {
  static StringTable* t = new StringTable;
  return *t;
}

}  // namespace

namespace mlr {

HMODULE ModuleHandle() {
  std::lock_guard<std::mutex> lock(ModuleMutex());
  if (!g_module) g_module = FindOwnModule();
  return g_module;
}

void SetModuleHandle(HMODULE module) {
  std::lock_guard<std::mutex> lock(ModuleMutex());
  g_module = module;
}

void RegisterStrings(const StringEntry* entries, size_t count) {
  StringTable& t = Strings();
  std::lock_guard<std::mutex> lock(t.mutex);
  for (size_t i = 0; i < count; ++i) t.strings[entries[i].id] = entries[i].text;
}

}  // namespace mlr

HMODULE LoadLibraryA(LPCSTR lpLibFileName) {
  if (!lpLibFileName || !lpLibFileName[0]) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  void* h = dlopen(lpLibFileName, RTLD_NOW | RTLD_LOCAL);
  if (!h) {
    SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
  }
  return reinterpret_cast<HMODULE>(h);
}

FARPROC GetProcAddress(HMODULE hModule, LPCSTR lpProcName) {
  if (!hModule || !lpProcName) {
    SetLastError(ERROR_INVALID_HANDLE);
    return nullptr;
  }
  dlerror();
  void* sym = dlsym(reinterpret_cast<void*>(hModule), lpProcName);
  if (!sym) {
    SetLastError(ERROR_PROC_NOT_FOUND);
    return nullptr;
  }
  FARPROC proc;
  static_assert(sizeof proc == sizeof sym, "function and data pointers differ");
  std::memcpy(&proc, &sym, sizeof proc);
  return proc;
}

BOOL FreeLibrary(HMODULE hLibModule) {
  if (!hLibModule) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  return dlclose(reinterpret_cast<void*>(hLibModule)) == 0 ? TRUE : FALSE;
}

DWORD GetModuleFileNameA(HMODULE hModule, LPSTR lpFilename, DWORD nSize) {
  std::string path;
  try {
    struct link_map* map = nullptr;
    if (hModule && dlinfo(reinterpret_cast<void*>(hModule), RTLD_DI_LINKMAP, &map) == 0 && map &&
        map->l_name && map->l_name[0]) {
      path = RealPath(map->l_name);
      if (path.empty()) path = map->l_name;
    } else if (!hModule || map) {
      path = ExecutablePath();
    } else {
      SetLastError(ERROR_INVALID_HANDLE);
      return 0;
    }
  } catch (const std::bad_alloc&) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return 0;
  }
  if (!lpFilename || nSize == 0) {
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return 0;
  }
  if (path.size() + 1 > nSize) {
    std::memcpy(lpFilename, path.data(), nSize - 1);
    lpFilename[nSize - 1] = '\0';
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return nSize;
  }
  std::memcpy(lpFilename, path.c_str(), path.size() + 1);
  return static_cast<DWORD>(path.size());
}

HMODULE GetModuleHandleA(LPCSTR lpModuleName) {
  void* h = lpModuleName ? dlopen(lpModuleName, RTLD_NOW | RTLD_NOLOAD) : dlopen(nullptr, RTLD_NOW);
  if (!h) {
    SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
  }
  if (lpModuleName) dlclose(h);  // not counted, as on Windows
  return reinterpret_cast<HMODULE>(h);
}

BOOL GetModuleHandleExA(DWORD dwFlags, LPCSTR lpModuleName, HMODULE* phModule) {
  if (!phModule) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  *phModule = nullptr;
  if (dwFlags & GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS) {
    if (!lpModuleName) {
      SetLastError(ERROR_INVALID_PARAMETER);
      return FALSE;
    }
    *phModule = ModuleOfAddress(lpModuleName, (dwFlags & GET_MODULE_HANDLE_EX_FLAG_PIN) != 0);
    if (!*phModule) SetLastError(ERROR_MOD_NOT_FOUND);
  } else {
    *phModule = GetModuleHandleA(lpModuleName);
  }
  return *phModule ? TRUE : FALSE;
}

int LoadStringA(HINSTANCE, UINT uID, LPSTR lpBuffer, int cchBufferMax) {
  if (!lpBuffer || cchBufferMax <= 0) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  const char* text = nullptr;
  {
    StringTable& t = Strings();
    std::lock_guard<std::mutex> lock(t.mutex);
    auto it = t.strings.find(uID);
    if (it != t.strings.end()) text = it->second;
  }
  if (!text) {
    lpBuffer[0] = '\0';
    SetLastError(ERROR_RESOURCE_NAME_NOT_FOUND);
    return 0;
  }
  size_t n = std::strlen(text);
  if (n > static_cast<size_t>(cchBufferMax - 1)) n = static_cast<size_t>(cchBufferMax - 1);
  std::memcpy(lpBuffer, text, n);
  lpBuffer[n] = '\0';
  return static_cast<int>(n);
}

#endif  // !_WIN32
