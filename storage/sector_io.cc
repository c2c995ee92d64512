#include "storage/sector_io.h"

#include "storage/hresult.h"

#include <cstring>

namespace mlr::storage {

Status SectorIo::ReadAt(uint64_t offset, void* buf, size_t n) const {
  size_t got = 0;
  MLR_RETURN_IF_ERROR(FromHresult(file_->ReadAt(offset, buf, n, &got), Code::kReadFault, "read"));
  if (got < n) std::memset(static_cast<uint8_t*>(buf) + got, 0, n - got);
  return Status::Ok();
}

Status SectorIo::WriteAt(uint64_t offset, const void* buf, size_t n) const {
  return FromHresult(file_->WriteAt(offset, buf, n), Code::kWriteFault, "write");
}

template <typename Fn>
Status SectorIo::ForEachPiece(const Chain& chain, uint64_t pos, size_t n, Fn&& fn) const {
  if (n == 0) return Status::Ok();
  const uint64_t ss = sector_size();
  const uint64_t first = pos >> shift_;
  const uint64_t last = (pos + n - 1) >> shift_;
  size_t done = 0;
  return chain.ForEachRun(first, last - first + 1, [&](uint32_t sector, uint32_t count, uint64_t index) {
    uint64_t run_begin = index << shift_;  // stream position of the run's first byte
    uint64_t begin = pos + done;
    uint64_t skip = begin - run_begin;
    uint64_t take = static_cast<uint64_t>(count) * ss - skip;
    if (take > n - done) take = n - done;
    Status st = fn(Offset(sector) + skip, done, static_cast<size_t>(take));
    done += static_cast<size_t>(take);
    return st;
  });
}

Status SectorIo::ReadChain(const Chain& chain, uint64_t pos, void* buf, size_t n) const {
  auto* out = static_cast<uint8_t*>(buf);
  return ForEachPiece(chain, pos, n, [&](uint64_t off, size_t at, size_t len) {
    return ReadAt(off, out + at, len);
  });
}

Status SectorIo::WriteChain(const Chain& chain, uint64_t pos, const void* buf, size_t n) const {
  const auto* in = static_cast<const uint8_t*>(buf);
  return ForEachPiece(chain, pos, n, [&](uint64_t off, size_t at, size_t len) {
    return WriteAt(off, in + at, len);
  });
}

}  // namespace mlr::storage
