// The registry file of the POSIX build (internal to platform/posix; the API
// over it is platform/posix/registry.cc, its contract platform/winreg.h).
//
// In memory the registry is a tree of keys; each key has an ordered list of
// sub-keys and of string values (the value named "" is the key's default
// value). Names are UTF-8 and compare case-insensitively in ASCII.
//
// On disk (UTF-8 text, one item per line):
//     ; movaLegacyRecording registry 1
//     [HKEY_CLASSES_ROOT\CLSID\{...}]
//     @="KrfLoader Class"
//     "ThreadingModel"="Free"
// Every key appears as a section, parents before children, so that empty
// keys survive. In quoted texts a backslash escapes '\\', '"', 'n' and 'r'.
// Anything else (a missing or different first line, a value before any
// section, an unknown root, a bad escape) makes the file corrupt.
#pragma once

#include "platform/win.h"

#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace mlr::posix::registry {

struct Key {
  std::string name;
  std::vector<std::pair<std::string, std::string>> values;
  std::vector<std::unique_ptr<Key>> children;

  Key* Find(const std::string& child) const;
  // The child, created at the end of the list when missing.
  Key* FindOrAdd(const std::string& child, bool* created);
  bool Remove(const std::string& child);
  const std::string* Value(const std::string& value_name) const;
  void SetValue(const std::string& value_name, std::string data);
  bool RemoveValue(const std::string& value_name);
};

// The five roots, by their full names ("HKEY_CLASSES_ROOT", ...).
struct Tree {
  Tree();
  std::vector<std::unique_ptr<Key>> roots;
  Key* Root(const std::string& name) const;
};

bool SameName(const std::string& a, const std::string& b);

// The registry file's path (see platform/winreg.h); empty when neither
// MLR_REGISTRY nor HOME is set.
std::string RegistryPath();

// Reads the registry. A missing file gives an empty tree. Returns
// ERROR_SUCCESS, ERROR_BADDB (corrupt), ERROR_ACCESS_DENIED or another
// error mapped from errno.
LONG Load(Tree* tree);

// Runs `change` on the current registry as one transaction (see
// platform/winreg.h): under the file lock, reads the file, calls change(tree)
// and, when it returns ERROR_SUCCESS and `*modified` was set by it, writes
// the new file and renames it over the old one. Returns change's result or
// the first I/O error; on any failure the file is unchanged.
template <class F>
LONG Transact(F&& change);

// Implementation detail of Transact.
using ChangeFn = LONG (*)(void* context, Tree* tree, bool* modified);
LONG TransactImpl(ChangeFn fn, void* context);

template <class F>
LONG Transact(F&& change) {
  return TransactImpl(
      [](void* context, Tree* tree, bool* modified) -> LONG {
        return (*static_cast<std::remove_reference_t<F>*>(context))(tree, modified);
      },
      static_cast<void*>(&change));
}

// Text form, exposed for tests of the format.
std::string Serialize(const Tree& tree);
bool Parse(const std::string& text, Tree* tree);

}  // namespace mlr::posix::registry
