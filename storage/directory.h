// The directory: every entry in memory, referred to by index, plus for each
// storage a sorted map of its children (the on-disk red-black trees are read
// into these maps at open and written back from them on Flush).
//
// Load validates the tree: every link in range, no entry reached twice (so
// no loops), only storages and streams below the root, no two children of a
// storage with names that compare equal. Entries the tree does not reach
// become free slots.
//
// On Flush each storage whose children changed gets a new tree: a balanced
// binary search tree, coloured so that it is a valid red-black tree (all
// nodes black except, when the lowest level is not full, that level red).
//
// Not thread-safe: the engine calls it under its file lock.
#pragma once

#include "storage/chain.h"
#include "storage/directory_entry.h"
#include "storage/fat.h"
#include "storage/header.h"
#include "storage/sector_ids.h"
#include "storage/sector_io.h"

#include <map>
#include <set>
#include <unordered_map>
#include <vector>

namespace mlr::storage {

using Children = std::map<std::u16string, uint32_t, NameLess>;

class Directory {
 public:
  Directory(uint32_t sector_size, uint16_t major_version)
      : per_sector_(sector_size / kDirEntrySize), major_version_(major_version) {}

  Status Load(const Header& header, const SectorIo& io, const Fat& fat, std::vector<bool>* visited);
  // A directory with only the root entry, in a new file.
  Status InitNew(Fat* fat, uint64_t now);

  DirEntry& entry(uint32_t index) { return entries_[index]; }
  const DirEntry& entry(uint32_t index) const { return entries_[index]; }
  uint32_t size() const { return static_cast<uint32_t>(entries_.size()); }
  const Children& children(uint32_t storage) const;

  // The child of `storage` with this name, or kNoStream.
  uint32_t Find(uint32_t storage, const std::u16string& name) const;
  // Adds a child to `storage`; the name must be free. Returns its index.
  Result<uint32_t> Add(uint32_t storage, DirEntry e, Fat* fat);
  // Unlinks a child from `storage` and frees its slot (its data and, for a
  // storage, its children are the caller's to free first).
  void Remove(uint32_t storage, uint32_t index);
  void Rename(uint32_t storage, uint32_t index, const std::u16string& name);
  void MarkDirty(uint32_t index) { sector_dirty_[index / per_sector_] = true; }

  Status Flush(const SectorIo& io, Header* header);

 private:
  Status LoadTree(uint32_t storage, std::vector<bool>* reached);
  uint32_t BuildTree(const std::vector<uint32_t>& sorted, size_t lo, size_t hi, int depth, int red_depth);

  std::vector<DirEntry> entries_;
  Chain chain_;
  std::unordered_map<uint32_t, Children> children_;
  std::set<uint32_t> tree_dirty_;
  std::vector<bool> sector_dirty_;
  uint32_t per_sector_;
  uint16_t major_version_;
  uint32_t free_hint_ = 1;
};

}  // namespace mlr::storage
