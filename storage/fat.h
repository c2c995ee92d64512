// The FAT (one link per sector) together with the DIFAT (the list of the
// sectors that hold the FAT: 109 in the header, the rest in a chain of DIFAT
// sectors). The whole table is held in memory; it is bounded by the file,
// since every FAT sector is a sector of the file.
//
// Load validates: every FAT and DIFAT sector in range and listed once, every
// link in range. Chains are validated when walked (storage/chain.h). After
// Load, `sector_count()` is the number of usable sectors; sectors are added
// at the end by Allocate, which also adds FAT and DIFAT sectors as needed.
//
// Not thread-safe: the engine calls it under its file lock.
#pragma once

#include "storage/chain.h"
#include "storage/header.h"
#include "storage/sector_io.h"
#include "storage/status.h"

#include <cstdint>
#include <vector>

namespace mlr::storage {

class Fat {
 public:
  // An empty table for a new file.
  Fat(uint32_t sector_size, uint16_t major_version);

  // Reads the DIFAT and the FAT of an existing file with `file_sectors`
  // sectors after the header. Marks FAT and DIFAT sectors in *visited.
  Status Load(const Header& header, const SectorIo& io, uint32_t file_sectors,
              std::vector<bool>* visited);

  uint32_t sector_count() const { return count_; }
  const std::vector<uint32_t>& table() const { return next_; }
  uint32_t Next(uint32_t s) const { return next_[s]; }

  // Walks a chain of data sectors (validated; see WalkChain).
  Status Walk(uint32_t start, std::vector<bool>* visited, const std::string& what, Chain* out) const;

  // Adds `count` sectors to the end of `chain`: after its last sector where
  // those are free, else in free holes (small requests), else as one run at
  // the end of the file. A chain of 512 KiB or more that needs new FAT
  // sectors there gets extra ones (capacity for its later growth, at most an
  // eighth of its size) so that its run is aligned in the file as in the
  // stream modulo a power of two from 64 KiB to 1 MiB.
  Status Allocate(uint64_t count, Chain* chain);
  // Cuts `chain` to n sectors and frees the rest.
  void Truncate(Chain* chain, uint64_t n);
  void Free(Chain* chain) { Truncate(chain, 0); }

  // Writes the FAT and DIFAT sectors that changed and fills the header's
  // FAT fields.
  Status Flush(const SectorIo& io, Header* header);

  // Writes a placeholder (all links free) into each FAT or DIFAT sector that
  // Allocate added since the last call. Called right after an allocation,
  // before the data that follows such a sector is written, so that a
  // growing file is written front to back without holes (a file system then
  // keeps it in few extents); Flush writes the real content later.
  Status WritePlaceholders(const SectorIo& io);

 private:
  void Set(uint32_t s, uint32_t value);
  uint64_t DifatCapacity() const;
  void AddFatSector();
  // Adds FAT and DIFAT sectors until `extra` more sectors fit in the table.
  Status EnsureCapacity(uint64_t extra);
  // Adds FAT sectors (room for later growth) until the next sector at the
  // end of the file sits where chain index `index` does modulo the
  // alignment unit of a chain of that length, keeping room for `extra`
  // sectors.
  Status AlignEnd(uint64_t index, uint64_t extra);
  void FreeOne(uint32_t s);

  uint32_t sector_size_;
  uint32_t per_sector_;  // links per FAT sector
  uint16_t major_version_;
  std::vector<uint32_t> next_;
  uint32_t count_ = 0;  // sectors in use at the end of the file
  std::vector<uint32_t> fat_sectors_;
  std::vector<uint32_t> difat_sectors_;
  std::vector<bool> dirty_;  // per FAT sector
  bool difat_dirty_ = false;
  std::vector<uint32_t> unwritten_;  // table sectors added, not yet on disk
  uint32_t free_hint_ = 0;  // no free sector below this
};

}  // namespace mlr::storage
