// Modules over dlopen/dlsym, the library's own module handle, and the
// string table behind LoadStringA.
#if !defined(_WIN32)

#include "platform/module.h"
#include "platform/posix/handles.h"
#include "platform/strings.h"
#include "platform/win.h"

#include <dlfcn.h>
#include <limits.h>
#include <link.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <cctype>
#include <map>
#include <vector>
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

struct Resource {
  std::string type;  // "#<number>" for a numbered type
  UINT id;
  const void* data;
  DWORD size;
};
struct ResourceTable {
  std::mutex mutex;
  std::vector<Resource*> resources;  // never freed: HRSRCs point at them
};
ResourceTable& Resources() {
  static ResourceTable* t = new ResourceTable;
  return *t;
}

std::string TypeKey(LPCSTR type) {
  if (IS_INTRESOURCE(type)) return "#" + std::to_string(reinterpret_cast<ULONG_PTR>(type));
  std::string key = type;
  for (char& c : key) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return key;
}

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

void RegisterResource(const char* type, UINT id, const void* data, DWORD size) {
  ResourceTable& t = Resources();
  std::string key = TypeKey(type);
  std::lock_guard<std::mutex> lock(t.mutex);
  for (Resource* r : t.resources) {
    if (r->type == key && r->id == id) {
      r->data = data;
      r->size = size;
      return;
    }
  }
  t.resources.push_back(new Resource{std::move(key), id, data, size});
}

}  // namespace mlr

HRSRC FindResourceA(HMODULE, LPCSTR lpName, LPCSTR lpType) {
  if (!lpName || !lpType || !IS_INTRESOURCE(lpName)) {
    SetLastError(ERROR_RESOURCE_NAME_NOT_FOUND);
    return nullptr;
  }
  try {
    const std::string key = TypeKey(lpType);
    const UINT id = static_cast<UINT>(reinterpret_cast<ULONG_PTR>(lpName));
    ResourceTable& t = Resources();
    std::lock_guard<std::mutex> lock(t.mutex);
    for (Resource* r : t.resources) {
      if (r->type == key && r->id == id) return reinterpret_cast<HRSRC>(r);
    }
  } catch (const std::bad_alloc&) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
  }
  SetLastError(ERROR_RESOURCE_NAME_NOT_FOUND);
  return nullptr;
}

HGLOBAL LoadResource(HMODULE, HRSRC hResInfo) {
  if (!hResInfo) {
    SetLastError(ERROR_INVALID_HANDLE);
    return nullptr;
  }
  return const_cast<void*>(reinterpret_cast<Resource*>(hResInfo)->data);
}

LPVOID LockResource(HGLOBAL hResData) { return hResData; }

DWORD SizeofResource(HMODULE, HRSRC hResInfo) {
  return hResInfo ? reinterpret_cast<Resource*>(hResInfo)->size : 0;
}

BOOL DisableThreadLibraryCalls(HMODULE) { return TRUE; }

// The library's entry point, when it is linked in (weak: the platform layer
// alone has none).
extern "C" __attribute__((weak, visibility("default"))) BOOL DllMain(HINSTANCE module, DWORD reason, LPVOID reserved);

namespace {

// Runs DllMain at load and at exit, as the Windows loader does.
struct ProcessAttach {
  ProcessAttach() {
    if (DllMain) DllMain(mlr::ModuleHandle(), DLL_PROCESS_ATTACH, nullptr);
  }
  ~ProcessAttach() {
    if (DllMain) DllMain(mlr::ModuleHandle(), DLL_PROCESS_DETACH, nullptr);
  }
};
const ProcessAttach kProcessAttach;

}  // namespace

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

DWORD GetModuleFileNameW(HMODULE hModule, LPWSTR lpFilename, DWORD nSize) {
  char path[PATH_MAX];
  const DWORD n = GetModuleFileNameA(hModule, path, sizeof path);
  if (n == 0 || n >= sizeof path) return 0;
  try {
    const mlr::OleString wide = mlr::ToUtf16(path, n);
    if (!lpFilename || nSize == 0) {
      SetLastError(ERROR_INSUFFICIENT_BUFFER);
      return 0;
    }
    if (wide.size() + 1 > nSize) {
      std::memcpy(lpFilename, wide.data(), (nSize - 1) * sizeof(WCHAR));
      lpFilename[nSize - 1] = 0;
      SetLastError(ERROR_INSUFFICIENT_BUFFER);
      return nSize;
    }
    std::memcpy(lpFilename, wide.c_str(), (wide.size() + 1) * sizeof(WCHAR));
    return static_cast<DWORD>(wide.size());
  } catch (const std::bad_alloc&) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return 0;
  }
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
