// Registering the DLL's own type library (resource 1) with oleaut32.
#if defined(_WIN32)

#include "platform/type_library.h"

namespace mlr {

HRESULT RegisterModuleTypeLib(const OLECHAR* module_path, const TypeLibDescription&) {
  if (!module_path || !module_path[0]) return E_INVALIDARG;
  ITypeLib* library = nullptr;
  HRESULT hr = LoadTypeLibEx(module_path, REGKIND_NONE, &library);
  if (FAILED(hr)) return hr;
  hr = RegisterTypeLib(library, const_cast<OLECHAR*>(module_path), nullptr);
  library->Release();
  return hr;
}

HRESULT UnregisterModuleTypeLib(const TypeLibDescription& lib) {
  return UnRegisterTypeLib(lib.libid, lib.major, lib.minor, lib.lcid, SYS_WIN64);
}

}  // namespace mlr

#endif  // _WIN32
