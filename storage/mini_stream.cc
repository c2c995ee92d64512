#include "storage/mini_stream.h"

#include "storage/le.h"
#include "storage/sector_ids.h"

#include <algorithm>
#include <cstring>

namespace mlr::storage {

Status MiniStream::Load(const Header& h, const SectorIo& io, const Fat& fat, const DirEntry& root,
                        std::vector<bool>* visited) {
  // An empty mini FAT or mini stream is empty whatever its start says.
  if (h.num_mini_fat_sectors != 0)
    MLR_RETURN_IF_ERROR(fat.Walk(h.first_mini_fat_sector, visited, "mini FAT chain", &table_chain_));
  if (root.size != 0) MLR_RETURN_IF_ERROR(fat.Walk(root.start, visited, "mini stream chain", &data_));
  if (root.size > data_.size() * sector_size_)
    return Corrupt("mini stream: size " + std::to_string(root.size) + " beyond its " +
                   std::to_string(data_.size()) + " sectors");
  next_.assign(static_cast<size_t>(table_chain_.size()) * per_sector_, kFreeSect);
  std::vector<uint8_t> buf(static_cast<size_t>(table_chain_.size()) * sector_size_);
  MLR_RETURN_IF_ERROR(io.ReadChain(table_chain_, 0, buf.data(), buf.size()));
  for (size_t i = 0; i < next_.size(); ++i) next_[i] = Load32(buf.data() + 4 * i);
  uint64_t in_stream = (root.size + kMiniSectorSize - 1) / kMiniSectorSize;
  count_ = static_cast<uint32_t>(std::min<uint64_t>(in_stream, next_.size()));
  for (uint32_t s = 0; s < next_.size(); ++s) {
    uint32_t v = next_[s];
    if (s >= count_) {
      if (v != kFreeSect) Set(s, kFreeSect);
      continue;
    }
    if (v != kFreeSect && v != kEndOfChain && v >= count_)
      return Corrupt("mini FAT: mini sector " + std::to_string(s) + " links to " + std::to_string(v) +
                     ", beyond the last mini sector " + std::to_string(count_));
  }
  dirty_ = false;
  return Status::Ok();
}

Status MiniStream::Walk(uint32_t start, uint64_t limit, std::vector<bool>* visited, const std::string& what,
                        Chain* out) const {
  return WalkChain(next_, count_, start, limit, visited, "mini FAT", what, out);
}

Status MiniStream::Allocate(uint64_t count, Chain* chain, Fat* fat) {
  uint32_t prev = chain->Last();
  auto link = [&](uint32_t s) {
    if (prev != kEndOfChain) Set(prev, s);
    Set(s, kEndOfChain);
    chain->Append(s);
    prev = s;
  };
  uint32_t s = free_hint_;
  for (; count > 0 && s < count_; ++s) {
    if (next_[s] != kFreeSect) continue;
    link(s);
    --count;
  }
  free_hint_ = s;
  if (count == 0) return Status::Ok();
  const uint64_t new_count = count_ + count;
  if (new_count > kMaxRegSect) return Status(Code::kTooLarge, "mini stream: too many mini sectors");
  // Room in the mini FAT and in the mini stream for the new mini sectors.
  while (next_.size() < new_count) {
    MLR_RETURN_IF_ERROR(fat->Allocate(1, &table_chain_));
    next_.resize(next_.size() + per_sector_, kFreeSect);
    dirty_ = true;
  }
  const uint64_t bytes = new_count * kMiniSectorSize;
  const uint64_t sectors = (bytes + sector_size_ - 1) / sector_size_;
  if (sectors > data_.size()) MLR_RETURN_IF_ERROR(fat->Allocate(sectors - data_.size(), &data_));
  while (count_ < new_count) link(count_++);
  return Status::Ok();
}

void MiniStream::Truncate(Chain* chain, uint64_t n) {
  if (n >= chain->size()) return;
  std::vector<uint32_t> dropped;
  chain->Truncate(n, &dropped);
  for (uint32_t s : dropped) {
    Set(s, kFreeSect);
    if (s < free_hint_) free_hint_ = s;
  }
  if (!chain->empty()) Set(chain->Last(), kEndOfChain);
}

template <typename Fn>
Status MiniStream::ForEachPiece(const Chain& chain, uint64_t pos, size_t n, Fn&& fn) const {
  if (n == 0) return Status::Ok();
  const uint64_t first = pos / kMiniSectorSize;
  const uint64_t last = (pos + n - 1) / kMiniSectorSize;
  size_t done = 0;
  return chain.ForEachRun(first, last - first + 1, [&](uint32_t sector, uint32_t count, uint64_t index) {
    uint64_t skip = pos + done - index * kMiniSectorSize;
    uint64_t take = static_cast<uint64_t>(count) * kMiniSectorSize - skip;
    if (take > n - done) take = n - done;
    Status st = fn(static_cast<uint64_t>(sector) * kMiniSectorSize + skip, done, static_cast<size_t>(take));
    done += static_cast<size_t>(take);
    return st;
  });
}

Status MiniStream::ReadData(const SectorIo& io, uint64_t at, uint8_t* out, size_t n) const {
  const uint64_t stream_bytes = data_.size() * sector_size_;
  if (at > stream_bytes || n > stream_bytes - at) return Corrupt("mini stream: a read beyond its sectors");
  while (n > 0) {
    const uint64_t begin = at / kKeptBytes * kKeptBytes;
    if (kept_begin_ != begin || at >= begin + kept_.size()) {  // not kept, or kept before the stream grew
      kept_.resize(static_cast<size_t>(std::min<uint64_t>(kKeptBytes, stream_bytes - begin)));
      kept_begin_ = kNoneKept;  // until the read succeeds
      MLR_RETURN_IF_ERROR(io.ReadChain(data_, begin, kept_.data(), kept_.size()));
      kept_begin_ = begin;
    }
    const size_t skip = static_cast<size_t>(at - begin);
    const size_t take = std::min(n, kept_.size() - skip);
    std::memcpy(out, kept_.data() + skip, take);
    at += take;
    out += take;
    n -= take;
  }
  return Status::Ok();
}

void MiniStream::UpdateKept(uint64_t at, const uint8_t* in, size_t n) const {
  if (kept_begin_ == kNoneKept) return;
  const uint64_t end = kept_begin_ + kept_.size();
  const uint64_t from = std::max(at, kept_begin_), to = std::min(at + n, end);
  if (from < to) std::memcpy(kept_.data() + (from - kept_begin_), in + (from - at), static_cast<size_t>(to - from));
}

Status MiniStream::Read(const SectorIo& io, const Chain& chain, uint64_t pos, void* buf, size_t n) const {
  auto* out = static_cast<uint8_t*>(buf);
  return ForEachPiece(chain, pos, n, [&](uint64_t at, size_t off, size_t len) {
    return ReadData(io, at, out + off, len);
  });
}

Status MiniStream::Write(const SectorIo& io, const Chain& chain, uint64_t pos, const void* buf, size_t n) const {
  const auto* in = static_cast<const uint8_t*>(buf);
  return ForEachPiece(chain, pos, n, [&](uint64_t at, size_t off, size_t len) {
    Status st = io.WriteChain(data_, at, in + off, len);
    if (st.ok())
      UpdateKept(at, in + off, len);
    else
      kept_begin_ = kNoneKept;  // what the file holds now is unknown
    return st;
  });
}

Status MiniStream::Flush(const SectorIo& io, Header* h) {
  if (dirty_) {
    std::vector<uint8_t> buf(next_.size() * 4);
    for (size_t i = 0; i < next_.size(); ++i) Store32(buf.data() + 4 * i, next_[i]);
    MLR_RETURN_IF_ERROR(io.WriteChain(table_chain_, 0, buf.data(), buf.size()));
    dirty_ = false;
  }
  h->first_mini_fat_sector = table_chain_.empty() ? kEndOfChain : table_chain_.runs()[0].first;
  h->num_mini_fat_sectors = static_cast<uint32_t>(table_chain_.size());
  return Status::Ok();
}

}  // namespace mlr::storage
