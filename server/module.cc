#include "server/module.h"

#include <map>
#include <new>

#include "LegacyRecording.h"
#include "platform/module.h"
#include "platform/module_lock.h"
#include "platform/strings.h"
#include "platform/type_library.h"
#include "server/class_table.h"
#include "server/module_resources.h"
#include "server/registrar.h"

namespace {

const mlr::TypeLibDescription kTypeLib = {LIBID_LegacyRecording, 1, 0, 0,
                                          OLESTR("Movaris Legacy Recording Definition")};

bool ModulePath(mlr::OleString* path) {
  OLECHAR buffer[4096];
  const DWORD n = GetModuleFileNameW(mlr::ModuleHandle(), buffer, 4096);
  if (n == 0 || n >= 4096) return false;
  path->assign(buffer, n);
  return true;
}

HRESULT RunScripts(mlr::server::RegistrarMode mode, const mlr::OleString& module_path) {
  std::map<std::string, std::string> variables;
  variables["MODULE"] = mlr::ToUtf8(module_path.c_str(), module_path.size());
  size_t count = 0;
  const mlr::server::ClassRow* rows = mlr::server::ClassRows(&count);
  for (size_t i = 0; i < count; ++i) {
    if (!rows[i].create) continue;  // not linked in: neither served nor registered
    std::string script;
    if (!mlr::server::LoadRegistrationScript(rows[i].script_id, &script)) {
      return HRESULT_FROM_WIN32(ERROR_RESOURCE_NAME_NOT_FOUND);
    }
    const HRESULT hr = mlr::server::RunRegistrationScript(script, variables, mode);
    if (FAILED(hr)) return hr;
  }
  return S_OK;
}

}  // namespace

namespace mlr::server {

bool LoadRegistrationScript(UINT id, std::string* text) {
  const HMODULE module = ModuleHandle();
  HRSRC info = FindResourceA(module, MAKEINTRESOURCEA(id), "REGISTRY");
  if (!info) return false;
  HGLOBAL data = LoadResource(module, info);
  const void* bytes = data ? LockResource(data) : nullptr;
  if (!bytes) return false;
  text->assign(static_cast<const char*>(bytes), SizeofResource(module, info));
  return true;
}

}  // namespace mlr::server

BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH) {
    mlr::SetModuleHandle(module);
    mlr::server::PublishModuleResources();
    mlr::server::InitClassObjects();
    DisableThreadLibraryCalls(module);
  } else if (reason == DLL_PROCESS_DETACH) {
    mlr::server::ReleaseClassObjects();
  }
  return TRUE;
}

HRESULT STDAPICALLTYPE DllCanUnloadNow(void) {
  return mlr::ModuleLockCount() == 0 ? S_OK : S_FALSE;
}

HRESULT STDAPICALLTYPE DllGetClassObject(REFCLSID rclsid, REFIID riid, LPVOID* ppv) {
  return mlr::server::GetClassObject(rclsid, riid, ppv);
}

HRESULT STDAPICALLTYPE DllRegisterServer(void) {
  try {
    mlr::OleString path;
    if (!ModulePath(&path)) return HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND);
    const HRESULT hr = RunScripts(mlr::server::RegistrarMode::kRegister, path);
    if (FAILED(hr)) return hr;
    return mlr::RegisterModuleTypeLib(path.c_str(), kTypeLib);
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

HRESULT STDAPICALLTYPE DllUnregisterServer(void) {
  try {
    mlr::OleString path;
    if (!ModulePath(&path)) return HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND);
    const HRESULT hr = RunScripts(mlr::server::RegistrarMode::kUnregister, path);
    if (FAILED(hr)) return hr;
    const HRESULT lib = mlr::UnregisterModuleTypeLib(kTypeLib);
    if (lib == TYPE_E_REGISTRYACCESS || lib == TYPE_E_LIBNOTREGISTERED) return S_OK;
    return lib;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}
