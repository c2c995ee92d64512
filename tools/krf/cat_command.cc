// krf cat FILE PATH: writes the bytes of one stream to standard output. PATH
// names the stream from the root, storages separated by '/'. Opens the file
// read-only.
#include "platform/com_ptr.h"
#include "platform/win.h"
#include "storage/directory_entry.h"
#include "tools/krf/command.h"
#include "tools/krf/fail.h"

#include <cstdio>
#include <string>
#include <vector>

namespace {

using mlr::ComPtr;
using mlr::storage::FromUtf8;

int Cat(const std::string& file, const std::string& path) {
  ComPtr<IStorage> storage;
  HRESULT hr = StgOpenStorage(FromUtf8(file).c_str(), nullptr, STGM_SHARE_DENY_WRITE | STGM_READ, nullptr, 0,
                              storage.put());
  if (FAILED(hr)) return krf::Fail("open " + file, hr);
  std::vector<std::string> parts;
  size_t start = 0;
  for (size_t slash; (slash = path.find('/', start)) != std::string::npos; start = slash + 1)
    if (slash > start) parts.push_back(path.substr(start, slash - start));
  if (start < path.size()) parts.push_back(path.substr(start));
  if (parts.empty()) return krf::Fail("open " + path, STG_E_INVALIDNAME);
  for (size_t i = 0; i + 1 < parts.size(); ++i) {
    ComPtr<IStorage> child;
    hr = storage->OpenStorage(FromUtf8(parts[i]).c_str(), nullptr, STGM_SHARE_EXCLUSIVE | STGM_READ, nullptr, 0,
                              child.put());
    if (FAILED(hr)) return krf::Fail("open " + parts[i], hr);
    storage = child;
  }
  ComPtr<IStream> stream;
  hr = storage->OpenStream(FromUtf8(parts.back()).c_str(), nullptr, STGM_SHARE_EXCLUSIVE | STGM_READ, 0, stream.put());
  if (FAILED(hr)) return krf::Fail("open " + path, hr);
  std::vector<char> buf(1 << 20);
  for (;;) {
    ULONG got = 0;
    hr = stream->Read(buf.data(), static_cast<ULONG>(buf.size()), &got);
    if (FAILED(hr)) return krf::Fail("read " + path, hr);
    if (got == 0) break;
    if (std::fwrite(buf.data(), 1, got, stdout) != got) return krf::Fail("write to standard output", STG_E_WRITEFAULT);
  }
  return std::fflush(stdout) == 0 ? 0 : krf::Fail("write to standard output", STG_E_WRITEFAULT);
}

const krf::Registrar kCat("cat", "Write one stream of a compound file to standard output", [](CLI::App& app) {
  auto file = std::make_shared<std::string>();
  auto path = std::make_shared<std::string>();
  app.add_option("FILE", *file, "the compound file")->required();
  app.add_option("PATH", *path, "the stream, storages separated by '/'")->required();
  return [file, path]() { return Cat(*file, *path); };
});

}  // namespace
