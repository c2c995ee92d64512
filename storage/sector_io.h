// Sector I/O: maps sector numbers to file offsets (sector s starts at
// (s + 1) * sector_size, after the header sector) and turns the file seam's
// errors into engine statuses. Reads beyond the end of the file return zeros,
// so a file whose last sector is cut short still reads; writes extend it.
//
// Thread-safe as the underlying file is: positionless reads and writes.
#pragma once

#include "platform/file.h"
#include "storage/chain.h"
#include "storage/status.h"

#include <cstdint>
#include <memory>

namespace mlr::storage {

class SectorIo {
 public:
  SectorIo(std::unique_ptr<File> file, uint16_t sector_shift)
      : file_(std::move(file)), shift_(sector_shift) {}

  uint32_t sector_size() const { return 1u << shift_; }
  uint16_t shift() const { return shift_; }
  uint64_t Offset(uint32_t sector) const { return (static_cast<uint64_t>(sector) + 1) << shift_; }
  File* file() const { return file_.get(); }
  void set_shift(uint16_t shift) { shift_ = shift; }

  Status ReadAt(uint64_t offset, void* buf, size_t n) const;
  Status WriteAt(uint64_t offset, const void* buf, size_t n) const;
  Status ReadSectors(uint32_t first, uint32_t count, uint8_t* out) const {
    return ReadAt(Offset(first), out, static_cast<size_t>(count) << shift_);
  }
  Status WriteSectors(uint32_t first, uint32_t count, const uint8_t* data) const {
    return WriteAt(Offset(first), data, static_cast<size_t>(count) << shift_);
  }
  // Reads/writes bytes [pos, pos + n) of the data held by a chain, one call
  // per run of consecutive sectors.
  Status ReadChain(const Chain& chain, uint64_t pos, void* buf, size_t n) const;
  Status WriteChain(const Chain& chain, uint64_t pos, const void* buf, size_t n) const;

 private:
  template <typename Fn>
  Status ForEachPiece(const Chain& chain, uint64_t pos, size_t n, Fn&& fn) const;

  std::unique_ptr<File> file_;
  uint16_t shift_;
};

}  // namespace mlr::storage
