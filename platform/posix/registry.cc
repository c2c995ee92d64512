// The registry API of the POSIX build over the registry file
// (registry_store.h); contract in platform/winreg.h.
#if !defined(_WIN32)

#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "platform/posix/handles.h"
#include "platform/posix/registry_store.h"
#include "platform/strings.h"
#include "platform/win.h"

namespace {

namespace reg = mlr::posix::registry;

// An open key: its root and the names on the way down. Names the key by
// path, so a handle sees what other handles and processes wrote.
class KeyObject final : public mlr::posix::KernelObject {
 public:
  KeyObject() : KernelObject(mlr::posix::ObjectKind::kRegistryKey) {}
  std::string root;
  std::vector<std::string> path;
};

const char* RootName(HKEY key) {
  switch (reinterpret_cast<ULONG_PTR>(key)) {
    case 0x80000000u: return "HKEY_CLASSES_ROOT";
    case 0x80000001u: return "HKEY_CURRENT_USER";
    case 0x80000002u: return "HKEY_LOCAL_MACHINE";
    case 0x80000003u: return "HKEY_USERS";
    case 0x80000005u: return "HKEY_CURRENT_CONFIG";
    default: return nullptr;
  }
}

// Where a handle points: filled from a predefined root or an open key.
struct Location {
  std::string root;
  std::vector<std::string> path;
};

LONG Locate(HKEY key, Location* out) {
  if (const char* root = RootName(key)) {
    out->root = root;
    out->path.clear();
    return ERROR_SUCCESS;
  }
  mlr::posix::ObjectRef<KeyObject> object(key, mlr::posix::ObjectKind::kRegistryKey);
  if (!object) return ERROR_INVALID_HANDLE;
  out->root = object->root;
  out->path = object->path;
  return ERROR_SUCCESS;
}

// Appends the parts of a sub-key path ("a\b\c"); null or "" adds nothing.
LONG AppendSubKey(LPCWSTR sub_key, std::vector<std::string>* path) {
  if (!sub_key || !sub_key[0]) return ERROR_SUCCESS;
  const std::string text = mlr::ToUtf8(sub_key);
  size_t start = 0;
  while (true) {
    size_t end = text.find('\\', start);
    std::string part = text.substr(start, end == std::string::npos ? end : end - start);
    if (part.empty()) return ERROR_INVALID_PARAMETER;
    path->push_back(std::move(part));
    if (end == std::string::npos) return ERROR_SUCCESS;
    start = end + 1;
  }
}

// The key at `path` below `root` in `tree`, or null.
reg::Key* Walk(const reg::Tree& tree, const Location& where, size_t depth) {
  reg::Key* key = tree.Root(where.root);
  for (size_t i = 0; key && i < depth; ++i) key = key->Find(where.path[i]);
  return key;
}
reg::Key* Walk(const reg::Tree& tree, const Location& where) {
  return Walk(tree, where, where.path.size());
}

LONG NewHandle(const Location& where, HKEY* out) {
  auto* object = new (std::nothrow) KeyObject();
  if (!object) return ERROR_NOT_ENOUGH_MEMORY;
  try {
    object->root = where.root;
    object->path = where.path;
  } catch (const std::bad_alloc&) {
    object->Release();
    return ERROR_NOT_ENOUGH_MEMORY;
  }
  HANDLE h = mlr::posix::Register(object);
  if (!h) return ERROR_NOT_ENOUGH_MEMORY;
  *out = static_cast<HKEY>(h);
  return ERROR_SUCCESS;
}

// Where `sub_key` of hKey points; *own is the depth of hKey itself.
LONG Resolve(HKEY hKey, LPCWSTR sub_key, Location* where, size_t* own) {
  LONG status = Locate(hKey, where);
  if (status != ERROR_SUCCESS) return status;
  *own = where->path.size();
  return AppendSubKey(sub_key, &where->path);
}

// The key at `where` (whose first `own` levels must exist: ERROR_KEY_DELETED).
LONG KeyAt(const reg::Tree& tree, const Location& where, size_t own, reg::Key** key) {
  if (!Walk(tree, where, own)) return ERROR_KEY_DELETED;
  *key = Walk(tree, where);
  return *key ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND;
}

// The key of a handle in `tree` (the key itself must exist).
LONG KeyOf(const reg::Tree& tree, HKEY hKey, reg::Key** key) {
  Location where;
  LONG status = Locate(hKey, &where);
  return status == ERROR_SUCCESS ? KeyAt(tree, where, where.path.size(), key) : status;
}

// Runs body, which returns a registry status; running out of memory is
// ERROR_NOT_ENOUGH_MEMORY.
template <class F>
LONG Guarded(F&& body) {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    return ERROR_NOT_ENOUGH_MEMORY;
  }
}

// Loads the registry and calls read(key, where) on the key of `sub_key`
// below hKey; the first failure is the result.
template <class F>
LONG ReadKey(HKEY hKey, LPCWSTR sub_key, F&& read) {
  return Guarded([&]() -> LONG {
    Location where;
    size_t own = 0;
    LONG status = Resolve(hKey, sub_key, &where, &own);
    reg::Tree tree;
    if (status == ERROR_SUCCESS) status = reg::Load(&tree);
    reg::Key* key = nullptr;
    if (status == ERROR_SUCCESS) status = KeyAt(tree, where, own, &key);
    return status == ERROR_SUCCESS ? read(*key, where) : status;
  });
}

// Calls change(key) on the key of hKey in one transaction; the registry is
// written when change returns ERROR_SUCCESS.
template <class F>
LONG ChangeKey(HKEY hKey, F&& change) {
  return Guarded([&]() -> LONG {
    return reg::Transact([&](reg::Tree* tree, bool* modified) -> LONG {
      reg::Key* key = nullptr;
      LONG status = KeyOf(*tree, hKey, &key);
      if (status == ERROR_SUCCESS) status = change(*key);
      *modified = status == ERROR_SUCCESS;
      return status;
    });
  });
}

std::string ValueName(LPCWSTR name) { return name ? mlr::ToUtf8(name) : std::string(); }

// Deletes sub-key `lpSubKey` of hKey; `tree_too` allows sub-keys.
LONG DeleteKey(HKEY hKey, LPCWSTR lpSubKey, bool tree_too) {
  return Guarded([&]() -> LONG {
    Location where;
    size_t own = 0;
    LONG status = Resolve(hKey, lpSubKey, &where, &own);
    if (status != ERROR_SUCCESS) return status;
    return reg::Transact([&](reg::Tree* tree, bool* modified) -> LONG {
      if (where.path.empty()) return ERROR_ACCESS_DENIED;  // a root
      reg::Key* parent = Walk(*tree, where, where.path.size() - 1);
      reg::Key* key = parent ? parent->Find(where.path.back()) : nullptr;
      if (!key) return ERROR_FILE_NOT_FOUND;
      if (!tree_too && !key->children.empty()) return ERROR_ACCESS_DENIED;
      parent->Remove(where.path.back());
      *modified = true;
      return ERROR_SUCCESS;
    });
  });
}

}  // namespace

LONG RegCreateKeyExW(HKEY hKey, LPCWSTR lpSubKey, DWORD, LPWSTR, DWORD, REGSAM,
                     LPSECURITY_ATTRIBUTES, HKEY* phkResult, LPDWORD lpdwDisposition) {
  if (!phkResult) return ERROR_INVALID_PARAMETER;
  *phkResult = nullptr;
  return Guarded([&]() -> LONG {
    Location where;
    size_t own = 0;
    LONG status = Resolve(hKey, lpSubKey, &where, &own);
    if (status != ERROR_SUCCESS) return status;
    bool created = false;
    status = reg::Transact([&](reg::Tree* tree, bool* modified) -> LONG {
      reg::Key* key = Walk(*tree, where, own);
      if (!key) return ERROR_KEY_DELETED;
      for (size_t i = own; i < where.path.size(); ++i) {
        bool added = false;
        key = key->FindOrAdd(where.path[i], &added);
        created = created || added;
      }
      *modified = created;
      return ERROR_SUCCESS;
    });
    if (status != ERROR_SUCCESS) return status;
    if (lpdwDisposition) *lpdwDisposition = created ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
    return NewHandle(where, phkResult);
  });
}

LONG RegOpenKeyExW(HKEY hKey, LPCWSTR lpSubKey, DWORD, REGSAM, HKEY* phkResult) {
  if (!phkResult) return ERROR_INVALID_PARAMETER;
  *phkResult = nullptr;
  return ReadKey(hKey, lpSubKey,
                 [&](reg::Key&, const Location& where) { return NewHandle(where, phkResult); });
}

LONG RegCloseKey(HKEY hKey) {
  if (RootName(hKey)) return ERROR_SUCCESS;
  mlr::posix::ObjectRef<KeyObject> object(hKey, mlr::posix::ObjectKind::kRegistryKey);
  if (!object) return ERROR_INVALID_HANDLE;
  return mlr::posix::Unregister(hKey) ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
}

LONG RegSetValueExW(HKEY hKey, LPCWSTR lpValueName, DWORD, DWORD dwType, const BYTE* lpData,
                    DWORD cbData) {
  if (dwType != REG_SZ && dwType != REG_EXPAND_SZ) return ERROR_INVALID_PARAMETER;
  if (!lpData && cbData) return ERROR_INVALID_PARAMETER;
  return Guarded([&]() -> LONG {
    // The text up to the first NUL within cbData bytes.
    std::u16string text;
    for (DWORD i = 0; i + 1 < cbData; i += 2) {
      char16_t c;
      std::memcpy(&c, lpData + i, sizeof c);
      if (c == 0) break;
      text.push_back(c);
    }
    const std::string data = mlr::ToUtf8(text.c_str(), text.size());
    const std::string name = ValueName(lpValueName);
    return ChangeKey(hKey, [&](reg::Key& key) -> LONG {
      key.SetValue(name, data);
      return ERROR_SUCCESS;
    });
  });
}

LONG RegQueryValueExW(HKEY hKey, LPCWSTR lpValueName, LPDWORD, LPDWORD lpType, LPBYTE lpData,
                      LPDWORD lpcbData) {
  if (lpData && !lpcbData) return ERROR_INVALID_PARAMETER;
  return ReadKey(hKey, nullptr, [&](reg::Key& key, const Location&) -> LONG {
    const std::string* data = key.Value(ValueName(lpValueName));
    if (!data) return ERROR_FILE_NOT_FOUND;
    const std::u16string text = mlr::ToUtf16(data->c_str(), data->size());
    const DWORD needed = static_cast<DWORD>((text.size() + 1) * sizeof(char16_t));
    if (lpType) *lpType = REG_SZ;
    if (!lpcbData) return ERROR_SUCCESS;
    const DWORD room = *lpcbData;
    *lpcbData = needed;
    if (!lpData) return ERROR_SUCCESS;
    if (room < needed) return ERROR_MORE_DATA;
    std::memcpy(lpData, text.c_str(), needed);
    return ERROR_SUCCESS;
  });
}

LONG RegDeleteValueW(HKEY hKey, LPCWSTR lpValueName) {
  return Guarded([&]() -> LONG {
    const std::string name = ValueName(lpValueName);
    return ChangeKey(hKey, [&](reg::Key& key) -> LONG {
      return key.RemoveValue(name) ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND;
    });
  });
}

LONG RegDeleteKeyW(HKEY hKey, LPCWSTR lpSubKey) {
  if (!lpSubKey) return ERROR_INVALID_PARAMETER;
  return DeleteKey(hKey, lpSubKey, false);
}

LONG RegDeleteTreeW(HKEY hKey, LPCWSTR lpSubKey) {
  if (lpSubKey && lpSubKey[0]) return DeleteKey(hKey, lpSubKey, true);
  return ChangeKey(hKey, [](reg::Key& key) -> LONG {
    key.children.clear();
    key.values.clear();
    return ERROR_SUCCESS;
  });
}

LONG RegEnumKeyExW(HKEY hKey, DWORD dwIndex, LPWSTR lpName, LPDWORD lpcchName, LPDWORD, LPWSTR,
                   LPDWORD lpcchClass, LPFILETIME) {
  if (!lpName || !lpcchName) return ERROR_INVALID_PARAMETER;
  return ReadKey(hKey, nullptr, [&](reg::Key& key, const Location&) -> LONG {
    if (dwIndex >= key.children.size()) return ERROR_NO_MORE_ITEMS;
    const std::string& name = key.children[dwIndex]->name;
    const std::u16string text = mlr::ToUtf16(name.c_str(), name.size());
    if (text.size() + 1 > *lpcchName) return ERROR_MORE_DATA;
    std::memcpy(lpName, text.c_str(), (text.size() + 1) * sizeof(char16_t));
    *lpcchName = static_cast<DWORD>(text.size());
    if (lpcchClass) *lpcchClass = 0;
    return ERROR_SUCCESS;
  });
}

#endif  // !_WIN32
