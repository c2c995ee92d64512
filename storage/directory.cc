#include "storage/directory.h"

#include "storage/sector_ids.h"

namespace mlr::storage {

namespace {
const Children kNoChildren;
}

Status Directory::Load(const Header& h, const SectorIo& io, const Fat& fat, std::vector<bool>* visited) {
  MLR_RETURN_IF_ERROR(fat.Walk(h.first_dir_sector, visited, "directory chain", &chain_));
  if (chain_.empty()) return Corrupt("directory: the file has no directory sectors");
  const uint64_t count = chain_.size() * per_sector_;
  if (count > kNoStream) return Corrupt("directory: too many entries");
  std::vector<uint8_t> buf(static_cast<size_t>(chain_.size()) * per_sector_ * kDirEntrySize);
  MLR_RETURN_IF_ERROR(io.ReadChain(chain_, 0, buf.data(), buf.size()));
  entries_.resize(static_cast<size_t>(count));
  for (uint32_t i = 0; i < count; ++i)
    MLR_RETURN_IF_ERROR(ParseDirEntry(buf.data() + static_cast<size_t>(i) * kDirEntrySize, h.major_version, i, &entries_[i]));
  if (entries_[0].type != EntryType::kRoot) return Corrupt("directory: entry 0 is not the root");
  sector_dirty_.assign(static_cast<size_t>(chain_.size()), false);

  std::vector<bool> reached(entries_.size(), false);
  reached[0] = true;
  std::vector<uint32_t> storages{0};
  while (!storages.empty()) {
    uint32_t s = storages.back();
    storages.pop_back();
    MLR_RETURN_IF_ERROR(LoadTree(s, &reached));
    for (const auto& [name, child] : children_[s])
      if (entries_[child].type == EntryType::kStorage) storages.push_back(child);
  }
  for (uint32_t i = 1; i < entries_.size(); ++i)
    if (!reached[i] && entries_[i].type != EntryType::kEmpty) entries_[i] = DirEntry();
  return Status::Ok();
}

Status Directory::LoadTree(uint32_t storage, std::vector<bool>* reached) {
  Children& kids = children_[storage];
  std::vector<uint32_t> stack;
  if (entries_[storage].child != kNoStream) stack.push_back(entries_[storage].child);
  while (!stack.empty()) {
    uint32_t i = stack.back();
    stack.pop_back();
    if (i >= entries_.size())
      return Corrupt("directory: a link in storage " + std::to_string(storage) + " points to entry " +
                     std::to_string(i) + " of " + std::to_string(entries_.size()));
    if ((*reached)[i]) return Corrupt("directory: entry " + std::to_string(i) + " is reached twice");
    (*reached)[i] = true;
    const DirEntry& e = entries_[i];
    if (e.type != EntryType::kStorage && e.type != EntryType::kStream)
      return Corrupt("directory: entry " + std::to_string(i) + " in the tree is neither a storage nor a stream");
    if (!kids.emplace(e.name, i).second)
      return Corrupt("directory: storage " + std::to_string(storage) + " has two elements named \"" +
                     ToUtf8(e.name) + "\"");
    if (e.left != kNoStream) stack.push_back(e.left);
    if (e.right != kNoStream) stack.push_back(e.right);
  }
  return Status::Ok();
}

Status Directory::InitNew(Fat* fat, uint64_t now) {
  MLR_RETURN_IF_ERROR(fat->Allocate(1, &chain_));
  entries_.assign(per_sector_, DirEntry());
  sector_dirty_.assign(1, true);
  DirEntry& root = entries_[0];
  root.name = u"Root Entry";
  root.type = EntryType::kRoot;
  root.color = kBlack;
  root.start = kEndOfChain;
  root.modified_time = now;
  children_[0];
  return Status::Ok();
}

const Children& Directory::children(uint32_t storage) const {
  auto it = children_.find(storage);
  return it == children_.end() ? kNoChildren : it->second;
}

uint32_t Directory::Find(uint32_t storage, const std::u16string& name) const {
  const Children& kids = children(storage);
  auto it = kids.find(name);
  return it == kids.end() ? kNoStream : it->second;
}

Result<uint32_t> Directory::Add(uint32_t storage, DirEntry e, Fat* fat) {
  uint32_t slot = free_hint_;
  while (slot < entries_.size() && entries_[slot].type != EntryType::kEmpty) ++slot;
  if (slot >= entries_.size()) {
    if (entries_.size() + per_sector_ >= kNoStream) return Status(Code::kTooLarge, "directory: too many entries");
    MLR_RETURN_IF_ERROR(fat->Allocate(1, &chain_));
    entries_.resize(entries_.size() + per_sector_);
    sector_dirty_.push_back(true);
  }
  free_hint_ = slot + 1;
  e.left = e.right = e.child = kNoStream;
  children_[storage].emplace(e.name, slot);
  if (e.type == EntryType::kStorage) children_[slot];
  entries_[slot] = std::move(e);
  tree_dirty_.insert(storage);
  MarkDirty(slot);
  return slot;
}

void Directory::Remove(uint32_t storage, uint32_t index) {
  children_[storage].erase(entries_[index].name);
  children_.erase(index);
  tree_dirty_.erase(index);
  entries_[index] = DirEntry();
  if (index < free_hint_) free_hint_ = index;
  tree_dirty_.insert(storage);
  MarkDirty(index);
}

void Directory::Rename(uint32_t storage, uint32_t index, const std::u16string& name) {
  Children& kids = children_[storage];
  kids.erase(entries_[index].name);
  entries_[index].name = name;
  kids.emplace(name, index);
  tree_dirty_.insert(storage);
  MarkDirty(index);
}

uint32_t Directory::BuildTree(const std::vector<uint32_t>& sorted, size_t lo, size_t hi, int depth, int red_depth) {
  if (lo >= hi) return kNoStream;
  size_t mid = lo + (hi - lo) / 2;
  uint32_t node = sorted[mid];
  DirEntry& e = entries_[node];
  e.left = BuildTree(sorted, lo, mid, depth + 1, red_depth);
  e.right = BuildTree(sorted, mid + 1, hi, depth + 1, red_depth);
  e.color = depth == red_depth ? kRed : kBlack;
  MarkDirty(node);
  return node;
}

Status Directory::Flush(const SectorIo& io, Header* h) {
  for (uint32_t s : tree_dirty_) {
    std::vector<uint32_t> sorted;
    for (const auto& [name, index] : children(s)) sorted.push_back(index);
    // Depth of the lowest level; it is red unless the tree is perfect.
    int levels = 0;
    while ((size_t{1} << (levels + 1)) <= sorted.size()) ++levels;
    bool perfect = sorted.size() == (size_t{1} << (levels + 1)) - 1;
    entries_[s].child = BuildTree(sorted, 0, sorted.size(), 0, perfect || sorted.empty() ? -1 : levels);
    MarkDirty(s);
  }
  tree_dirty_.clear();
  std::vector<uint8_t> buf(static_cast<size_t>(per_sector_) * kDirEntrySize);
  for (size_t sec = 0; sec < sector_dirty_.size(); ++sec) {
    if (!sector_dirty_[sec]) continue;
    for (uint32_t k = 0; k < per_sector_; ++k)
      SerializeDirEntry(entries_[sec * per_sector_ + k], buf.data() + k * kDirEntrySize);
    MLR_RETURN_IF_ERROR(io.WriteSectors(chain_.At(sec), 1, buf.data()));
    sector_dirty_[sec] = false;
  }
  h->first_dir_sector = chain_.At(0);
  h->num_dir_sectors = major_version_ == 3 ? 0 : static_cast<uint32_t>(chain_.size());
  return Status::Ok();
}

}  // namespace mlr::storage
