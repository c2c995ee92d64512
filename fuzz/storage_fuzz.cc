// Fuzz target of the compound-file engine: open the input as a file, walk the
// whole tree, read every stream (in pieces, and property set streams through
// the property set decoder). If it opens, change a copy (create, grow,
// shrink, destroy, rename) and require that the result opens again: what the
// engine writes from any file it accepted must be valid.
#include "platform/file.h"
#include "storage/compound_file.h"
#include "storage/property_set.h"

#include <cstdint>
#include <cstdlib>
#include <vector>

namespace {

using namespace mlr::storage;

void ReadAll(CompoundFile& cf, uint32_t storage, int depth, uint32_t* first_stream) {
  for (const ElementInfo& e : cf.List(storage)) {
    Result<uint32_t> index = cf.Find(storage, e.name);
    if (!index.ok()) std::abort();  // a listed element must be found
    if (e.type == EntryType::kStorage) {
      if (depth < 64) ReadAll(cf, *index, depth + 1, first_stream);
      continue;
    }
    if (*first_stream == 0 && storage == CompoundFile::kRoot) *first_stream = *index;
    Result<std::shared_ptr<StreamNode>> node = cf.OpenStream(*index);
    if (!node.ok()) continue;
    std::vector<uint8_t> buf(4096 + 7);
    std::vector<uint8_t> whole;
    uint64_t pos = 0;
    for (int i = 0; i < 4096; ++i) {
      size_t got = 0;
      if (!cf.Read(**node, pos, buf.data(), buf.size(), &got).ok() || got == 0) break;
      if (whole.size() < (1 << 20)) whole.insert(whole.end(), buf.begin(), buf.begin() + got);
      pos += got;
    }
    if (!e.name.empty() && e.name[0] == 5) {
      PropertySet set;
      (void)ParsePropertySet(whole.data(), whole.size(), &set);
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  auto cf = CompoundFile::Open(mlr::NewMemoryFile(data, size, true), u"fuzz");
  if (!cf.ok()) return 0;
  uint32_t first_stream = 0;
  ReadAll(**cf, CompoundFile::kRoot, 0, &first_stream);
  cf->reset();

  // Change a writable copy, then open the result again.
  auto file = mlr::NewMemoryFile(data, size, false);
  mlr::File* raw = file.get();
  auto rw = CompoundFile::Open(std::move(file), u"fuzz");
  if (!rw.ok()) std::abort();  // the same bytes opened a moment ago
  CompoundFile& w = **rw;
  std::vector<uint8_t> payload(9000, 0xA5);
  Result<uint32_t> created = w.CreateElement(CompoundFile::kRoot, u"FuzzNew", EntryType::kStream, true);
  if (created.ok()) {
    auto node = w.OpenStream(*created);
    if (node.ok()) {
      (void)w.Write(**node, 0, payload.data(), 100);
      (void)w.Write(**node, 100, payload.data(), payload.size());
      (void)w.SetSize(**node, 3000);
    }
  }
  if (first_stream) {
    ElementInfo info = w.Stat(first_stream);
    auto node = w.OpenStream(first_stream);
    if (node.ok()) {
      (void)w.Write(**node, info.size, payload.data(), 5000);
      (void)w.SetSize(**node, info.size / 2);
    }
    (void)w.RenameElement(CompoundFile::kRoot, info.name, u"FuzzRenamed");
    (void)w.DestroyElement(CompoundFile::kRoot, u"FuzzRenamed");
  }
  if (!w.Flush().ok()) return 0;
  uint64_t out_size = 0;
  if (FAILED(raw->GetSize(&out_size))) std::abort();
  std::vector<uint8_t> out(static_cast<size_t>(out_size));
  size_t got = 0;
  if (FAILED(raw->ReadAt(0, out.data(), out.size(), &got))) std::abort();
  rw->reset();
  auto again = CompoundFile::Open(mlr::NewMemoryFile(out.data(), got, true), u"fuzz");
  if (!again.ok()) std::abort();  // the engine wrote a file it cannot read
  return 0;
}
