// krf register [LIBRARY] [--unregister]: registers the library (by default
// the one built beside this tool, else the installed one) by calling its
// DllRegisterServer or DllUnregisterServer. The registry is the per-user
// file, or the one named by MLR_REGISTRY.
#include "platform/win.h"
#include "tools/krf/command.h"
#include "tools/krf/fail.h"

#include <sys/stat.h>

#include <cstdio>
#include <string>

namespace {

bool Exists(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0;
}

std::string DefaultLibrary() {
  if (Exists(MLR_BUILT_LIBRARY)) return MLR_BUILT_LIBRARY;
  return MLR_INSTALLED_LIBRARY;
}

int Run(std::string library, bool unregister) {
  if (library.empty()) library = DefaultLibrary();
  HMODULE module = LoadLibraryA(library.c_str());
  if (!module) return krf::Fail("load " + library, HRESULT_FROM_WIN32(GetLastError()));
  const char* entry = unregister ? "DllUnregisterServer" : "DllRegisterServer";
  using EntryFn = HRESULT (*)();
  auto fn = reinterpret_cast<EntryFn>(reinterpret_cast<void (*)()>(GetProcAddress(module, entry)));
  if (!fn) return krf::Fail(std::string(entry) + " in " + library, CO_E_ERRORINDLL);
  const HRESULT hr = fn();
  if (FAILED(hr)) return krf::Fail(std::string(entry) + " " + library, hr);
  std::printf("%s %s\n", unregister ? "unregistered" : "registered", library.c_str());
  return 0;
}

const krf::Registrar kRegister(
    "register", "Register the library's classes and type library (or --unregister them)",
    [](CLI::App& app) {
      auto library = std::make_shared<std::string>();
      auto unregister = std::make_shared<bool>(false);
      app.add_option("library", *library, "the shared library (default: the built or installed one)");
      app.add_flag("--unregister", *unregister, "remove the registration instead");
      return [library, unregister]() { return Run(*library, *unregister); };
    });

}  // namespace
