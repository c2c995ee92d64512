// The mini stream and its mini FAT: streams below 4096 bytes live in 64-byte
// mini sectors inside the mini stream, which is itself the data of the root
// entry (an ordinary sector chain). The mini FAT links mini sectors as the
// FAT links sectors and is kept in its own ordinary chain.
//
// Load validates like the FAT: mini FAT and mini stream chains through the
// FAT, every mini link in range; mini chains of streams are validated when
// walked, each mini sector used once. Not thread-safe: the engine calls it
// under its file lock.
//
// Reads keep the last 64 KiB of the mini stream they touched in memory
// (an aligned piece, fewer at its end): small streams lie next to each
// other, so reading many of them in turn reads each part of the mini stream
// from the file once instead of once per stream. Every write to the mini
// stream goes through Write, which updates that copy; nothing else writes
// the mini stream's sectors (they are never freed). A piece kept before the
// mini stream grew ends where the mini stream ended then; a read beyond
// that reads the piece again.
#pragma once

#include "storage/chain.h"
#include "storage/directory_entry.h"
#include "storage/fat.h"
#include "storage/header.h"
#include "storage/sector_io.h"

#include <vector>

namespace mlr::storage {

class MiniStream {
 public:
  explicit MiniStream(uint32_t sector_size) : sector_size_(sector_size), per_sector_(sector_size / 4) {}

  Status Load(const Header& header, const SectorIo& io, const Fat& fat, const DirEntry& root,
              std::vector<bool>* visited);

  uint32_t sector_count() const { return count_; }
  // Walks a stream's mini chain for at most `limit` mini sectors.
  Status Walk(uint32_t start, uint64_t limit, std::vector<bool>* visited, const std::string& what, Chain* out) const;

  Status Allocate(uint64_t count, Chain* chain, Fat* fat);
  void Truncate(Chain* chain, uint64_t n);
  void Free(Chain* chain) { Truncate(chain, 0); }

  // Bytes [pos, pos + n) of a stream held in the mini chain `chain`.
  Status Read(const SectorIo& io, const Chain& chain, uint64_t pos, void* buf, size_t n) const;
  Status Write(const SectorIo& io, const Chain& chain, uint64_t pos, const void* buf, size_t n) const;

  // The root entry's start and size, describing the mini stream.
  uint32_t stream_start() const { return data_.empty() ? kEndOfChainValue : data_.runs()[0].first; }
  uint64_t stream_size() const { return static_cast<uint64_t>(count_) * 64; }

  Status Flush(const SectorIo& io, Header* header);

 private:
  static constexpr uint32_t kEndOfChainValue = 0xFFFFFFFE;
  void Set(uint32_t s, uint32_t v) {
    next_[s] = v;
    dirty_ = true;
  }
  template <typename Fn>
  Status ForEachPiece(const Chain& chain, uint64_t pos, size_t n, Fn&& fn) const;
  // Bytes [at, at + n) of the mini stream through the kept piece.
  Status ReadData(const SectorIo& io, uint64_t at, uint8_t* out, size_t n) const;
  // Brings bytes [at, at + n) of the mini stream, just written, into the kept piece.
  void UpdateKept(uint64_t at, const uint8_t* in, size_t n) const;

  uint32_t sector_size_;
  uint32_t per_sector_;
  std::vector<uint32_t> next_;
  uint32_t count_ = 0;  // mini sectors in the mini stream
  Chain table_chain_;   // sectors holding the mini FAT
  Chain data_;          // sectors holding the mini stream
  bool dirty_ = false;
  uint32_t free_hint_ = 0;
  static constexpr uint64_t kKeptBytes = 64 << 10;
  static constexpr uint64_t kNoneKept = UINT64_MAX;
  mutable uint64_t kept_begin_ = kNoneKept;  // mini stream offset of kept_
  mutable std::vector<uint8_t> kept_;
};

}  // namespace mlr::storage
