// What the registry publishes about classes and type libraries: ProgIDs,
// in-process servers and type-library paths (POSIX build).
#if !defined(_WIN32)

#include "platform/posix/registered_classes.h"

#include <cstdio>
#include <new>
#include <string>

#include "platform/com_ptr.h"
#include "platform/strings.h"
#include "platform/type_library.h"
#include "platform/win.h"

namespace {

std::u16string GuidText(REFGUID guid) {
  OLECHAR text[40];
  StringFromGUID2(guid, text, 40);
  return std::u16string(text);
}

std::u16string Hex(unsigned value) {
  char text[16];
  std::snprintf(text, sizeof text, "%x", value);
  return mlr::ToUtf16(text);
}

// Reads the string value `name` (null: the default) of HKCR\<sub_key>.
LONG ReadString(const std::u16string& sub_key, const OLECHAR* name, std::u16string* out) {
  HKEY key = nullptr;
  LONG status = RegOpenKeyExW(HKEY_CLASSES_ROOT, sub_key.c_str(), 0, KEY_READ, &key);
  if (status != ERROR_SUCCESS) return status;
  DWORD size = 0;
  status = RegQueryValueExW(key, name, nullptr, nullptr, nullptr, &size);
  if (status == ERROR_SUCCESS) {
    std::u16string text(size / sizeof(OLECHAR) + 1, u'\0');
    DWORD room = static_cast<DWORD>(text.size() * sizeof(OLECHAR));
    status = RegQueryValueExW(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(&text[0]),
                              &room);
    if (status == ERROR_SUCCESS) *out = text.c_str();
  }
  RegCloseKey(key);
  return status;
}

LONG WriteString(const std::u16string& sub_key, const std::u16string& text) {
  HKEY key = nullptr;
  LONG status = RegCreateKeyExW(HKEY_CLASSES_ROOT, sub_key.c_str(), 0, nullptr, 0, KEY_WRITE,
                                nullptr, &key, nullptr);
  if (status != ERROR_SUCCESS) return status;
  status = RegSetValueExW(key, nullptr, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                          static_cast<DWORD>((text.size() + 1) * sizeof(OLECHAR)));
  RegCloseKey(key);
  return status;
}

HRESULT FromWin32(LONG status) {
  return status == ERROR_SUCCESS ? S_OK : HRESULT_FROM_WIN32(static_cast<DWORD>(status));
}

std::u16string TypeLibKey(const mlr::TypeLibDescription& lib) {
  return u"TypeLib\\" + GuidText(lib.libid);
}
std::u16string VersionKey(const mlr::TypeLibDescription& lib) {
  return TypeLibKey(lib) + u"\\" + Hex(lib.major) + u"." + Hex(lib.minor);
}

}  // namespace

HRESULT CLSIDFromProgID(LPCOLESTR lpszProgID, LPCLSID lpclsid) {
  if (!lpszProgID || !lpclsid) return E_INVALIDARG;
  *lpclsid = CLSID_NULL;
  try {
    std::u16string text;
    if (ReadString(std::u16string(lpszProgID) + u"\\CLSID", nullptr, &text) != ERROR_SUCCESS) {
      return CO_E_CLASSSTRING;
    }
    return CLSIDFromString(text.c_str(), lpclsid) == S_OK ? S_OK : CO_E_CLASSSTRING;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

HRESULT QueryPathOfRegTypeLib(REFGUID guid, USHORT wMaj, USHORT wMin, LCID lcid,
                              BSTR* lpbstrPathName) {
  if (!lpbstrPathName) return E_INVALIDARG;
  *lpbstrPathName = nullptr;
  try {
    const std::u16string version =
        u"TypeLib\\" + GuidText(guid) + u"\\" + Hex(wMaj) + u"." + Hex(wMin) + u"\\";
    std::u16string path;
    if (ReadString(version + Hex(lcid) + u"\\posix", nullptr, &path) != ERROR_SUCCESS &&
        (lcid == 0 || ReadString(version + u"0\\posix", nullptr, &path) != ERROR_SUCCESS)) {
      return TYPE_E_LIBNOTREGISTERED;
    }
    *lpbstrPathName = SysAllocStringLen(path.c_str(), static_cast<UINT>(path.size()));
    return *lpbstrPathName ? S_OK : E_OUTOFMEMORY;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

namespace mlr {

HRESULT RegisterModuleTypeLib(const OLECHAR* module_path, const TypeLibDescription& lib) {
  if (!module_path || !module_path[0]) return E_INVALIDARG;
  try {
    const std::u16string path = module_path;
    const size_t slash = path.rfind(u'/');
    const std::u16string dir = slash == std::u16string::npos ? u"" : path.substr(0, slash);
    const std::u16string version = VersionKey(lib);
    LONG status = WriteString(version, lib.help_string ? lib.help_string : u"");
    if (status == ERROR_SUCCESS) status = WriteString(version + u"\\FLAGS", u"0");
    if (status == ERROR_SUCCESS) status = WriteString(version + u"\\HELPDIR", dir);
    if (status == ERROR_SUCCESS) {
      status = WriteString(version + u"\\" + Hex(lib.lcid) + u"\\posix", path);
    }
    return FromWin32(status);
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

HRESULT UnregisterModuleTypeLib(const TypeLibDescription& lib) {
  try {
    LONG status = RegDeleteTreeW(HKEY_CLASSES_ROOT, VersionKey(lib).c_str());
    if (status == ERROR_FILE_NOT_FOUND) return TYPE_E_REGISTRYACCESS;
    if (status != ERROR_SUCCESS) return FromWin32(status);
    // The library's key goes when no other version is left under it.
    status = RegDeleteKeyW(HKEY_CLASSES_ROOT, TypeLibKey(lib).c_str());
    if (status == ERROR_ACCESS_DENIED || status == ERROR_FILE_NOT_FOUND) return S_OK;
    return FromWin32(status);
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

}  // namespace mlr

namespace mlr::posix {

HRESULT GetRegisteredClassObject(REFCLSID clsid, REFIID riid, void** ppv) {
  *ppv = nullptr;
  std::string path;
  try {
    std::u16string text;
    if (ReadString(u"CLSID\\" + GuidText(clsid) + u"\\InprocServer32", nullptr, &text) !=
            ERROR_SUCCESS ||
        text.empty()) {
      return REGDB_E_CLASSNOTREG;
    }
    path = ToUtf8(text.c_str(), text.size());
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  // Stays loaded: objects of the class may live until the process ends.
  HMODULE module = LoadLibraryA(path.c_str());
  if (!module) return HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND);
  using GetClassObjectFn = HRESULT (*)(REFCLSID, REFIID, LPVOID*);
  auto get = reinterpret_cast<GetClassObjectFn>(
      reinterpret_cast<void (*)()>(GetProcAddress(module, "DllGetClassObject")));
  if (!get) return CO_E_ERRORINDLL;
  return get(clsid, riid, ppv);
}

}  // namespace mlr::posix

#endif  // !_WIN32
