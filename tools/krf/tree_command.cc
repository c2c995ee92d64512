// krf tree FILE: every storage and stream below the root, one per line, as
// "<kind> <size> <path>" (kind d or f, the path joined with '/'), depth
// first in the order the file keeps its elements. Opens the file read-only.
#include "platform/com_ptr.h"
#include "platform/win.h"
#include "storage/directory_entry.h"
#include "tools/krf/command.h"
#include "tools/krf/fail.h"

#include <cstdio>
#include <string>

namespace {

using mlr::ComPtr;
using mlr::storage::FromUtf8;
using mlr::storage::ToUtf8;

HRESULT List(IStorage* storage, const std::string& prefix) {
  ComPtr<IEnumSTATSTG> elements;
  HRESULT hr = storage->EnumElements(0, nullptr, 0, elements.put());
  if (FAILED(hr)) return krf::Fail("list " + (prefix.empty() ? std::string("/") : prefix), hr), hr;
  STATSTG st;
  while ((hr = elements->Next(1, &st, nullptr)) == S_OK) {
    const std::u16string name = st.pwcsName;
    CoTaskMemFree(st.pwcsName);
    const std::string path = prefix.empty() ? ToUtf8(name) : prefix + "/" + ToUtf8(name);
    const bool is_storage = st.type == STGTY_STORAGE;
    std::printf("%c %llu %s\n", is_storage ? 'd' : 'f',
                static_cast<unsigned long long>(is_storage ? 0 : st.cbSize.QuadPart), path.c_str());
    if (!is_storage) continue;
    ComPtr<IStorage> child;
    hr = storage->OpenStorage(name.c_str(), nullptr, STGM_SHARE_EXCLUSIVE | STGM_READ, nullptr, 0, child.put());
    if (FAILED(hr)) return krf::Fail("open " + path, hr), hr;
    hr = List(child.get(), path);
    if (FAILED(hr)) return hr;
  }
  if (FAILED(hr)) return krf::Fail("list " + (prefix.empty() ? std::string("/") : prefix), hr), hr;
  return S_OK;
}

const krf::Registrar kTree("tree", "List the storages and streams of a compound file", [](CLI::App& app) {
  auto file = std::make_shared<std::string>();
  app.add_option("FILE", *file, "the compound file")->required();
  return [file]() {
    ComPtr<IStorage> root;
    HRESULT hr = StgOpenStorage(FromUtf8(*file).c_str(), nullptr, STGM_SHARE_DENY_WRITE | STGM_READ, nullptr, 0,
                                root.put());
    if (FAILED(hr)) return krf::Fail("open " + *file, hr);
    return FAILED(List(root.get(), "")) ? 1 : 0;
  };
});

}  // namespace
