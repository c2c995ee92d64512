#include "storage/fat.h"

#include "storage/le.h"
#include "storage/sector_ids.h"

#include <algorithm>

namespace mlr::storage {

namespace {
// Requests up to this many sectors may be scattered over free holes; larger
// ones go to the end of the file as one run.
constexpr uint64_t kHoleReuseLimit = 64;
// A chain that needs new FAT sectors at the end of the file gets enough of
// them that its next sector starts where the stream position and the file
// offset agree modulo an alignment unit (see Fat::Allocate): the largest
// power of two up to an eighth of the chain, from kMinAlignBytes to
// kAlignBytes; none for a chain below 8 * kMinAlignBytes.
constexpr uint64_t kAlignBytes = 1 << 20;
constexpr uint64_t kMinAlignBytes = 64 << 10;
// The largest single write of table sectors.
constexpr uint64_t kMaxTableIo = 1 << 20;
// The FAT is read at open in pieces of this size.
constexpr size_t kLoadPiece = 64 << 10;

uint64_t AlignUnitBytes(uint64_t chain_bytes) {
  if (chain_bytes / 8 < kMinAlignBytes) return 0;
  uint64_t unit = kAlignBytes;
  while (unit > chain_bytes / 8) unit /= 2;
  return unit;
}
}  // namespace

Fat::Fat(uint32_t sector_size, uint16_t major_version)
    : sector_size_(sector_size), per_sector_(sector_size / 4), major_version_(major_version) {}

Status Fat::Load(const Header& h, const SectorIo& io, uint32_t file_sectors, std::vector<bool>* visited) {
  const uint32_t n = h.num_fat_sectors;
  if (n > file_sectors)
    return Corrupt("FAT: " + std::to_string(n) + " FAT sectors in a file of " + std::to_string(file_sectors) +
                   " sectors");
  auto claim = [&](uint32_t s, const char* what) -> Status {
    if (s >= file_sectors)
      return Corrupt(std::string("DIFAT: ") + what + " sector " + std::to_string(s) + " beyond the last sector " +
                     std::to_string(file_sectors));
    if ((*visited)[s]) return Corrupt(std::string("DIFAT: ") + what + " sector " + std::to_string(s) + " is listed twice");
    (*visited)[s] = true;
    return Status::Ok();
  };
  fat_sectors_.clear();
  for (uint32_t i = 0; i < kHeaderDifatEntries && fat_sectors_.size() < n; ++i) {
    MLR_RETURN_IF_ERROR(claim(h.difat[i], "FAT"));
    fat_sectors_.push_back(h.difat[i]);
  }
  uint32_t d = h.first_difat_sector;
  std::vector<uint8_t> buf(sector_size_);
  const uint32_t per_difat = per_sector_ - 1;
  while (fat_sectors_.size() < n) {
    if (d == kEndOfChain || d == kFreeSect)
      return Corrupt("DIFAT: ends after " + std::to_string(fat_sectors_.size()) + " of " + std::to_string(n) +
                     " FAT sectors");
    MLR_RETURN_IF_ERROR(claim(d, "DIFAT"));
    difat_sectors_.push_back(d);
    MLR_RETURN_IF_ERROR(io.ReadSectors(d, 1, buf.data()));
    for (uint32_t i = 0; i < per_difat && fat_sectors_.size() < n; ++i) {
      uint32_t s = Load32(buf.data() + 4 * i);
      MLR_RETURN_IF_ERROR(claim(s, "FAT"));
      fat_sectors_.push_back(s);
    }
    d = Load32(buf.data() + 4 * per_difat);
  }

  // FAT sectors that follow each other in the file are read together, a
  // small piece at a time through one buffer; each link is stored once.
  next_.clear();
  next_.reserve(static_cast<size_t>(n) * per_sector_);
  std::vector<uint8_t> data(std::max<size_t>(kLoadPiece, sector_size_));
  const uint32_t per_piece = static_cast<uint32_t>(data.size() / sector_size_);
  for (uint32_t i = 0; i < n;) {
    uint32_t j = i + 1;
    while (j < n && j - i < per_piece && fat_sectors_[j] == fat_sectors_[j - 1] + 1) ++j;
    MLR_RETURN_IF_ERROR(io.ReadSectors(fat_sectors_[i], j - i, data.data()));
    for (size_t k = 0; k < static_cast<size_t>(j - i) * per_sector_; ++k) next_.push_back(Load32(data.data() + 4 * k));
    i = j;
  }
  count_ = static_cast<uint32_t>(std::min<uint64_t>(file_sectors, next_.size()));
  dirty_.assign(n, false);
  for (uint32_t s = 0; s < next_.size(); ++s) {
    uint32_t v = next_[s];
    if (s >= count_) {
      // Links past the end of the file describe nothing; they are free.
      if (v != kFreeSect) Set(s, kFreeSect);
      continue;
    }
    if (v > kMaxRegSect && v != kEndOfChain && v != kFreeSect && v != kFatSect && v != kDifSect)
      return Corrupt("FAT: sector " + std::to_string(s) + " has the invalid link " + std::to_string(v));
    if (v <= kMaxRegSect && v >= count_)
      return Corrupt("FAT: sector " + std::to_string(s) + " links to sector " + std::to_string(v) +
                     ", beyond the last sector " + std::to_string(count_));
  }
  for (uint32_t s : fat_sectors_)
    if (s < count_ && next_[s] != kFatSect) Set(s, kFatSect);
  for (uint32_t s : difat_sectors_)
    if (s < count_ && next_[s] != kDifSect) Set(s, kDifSect);
  difat_dirty_ = false;
  free_hint_ = 0;
  return Status::Ok();
}

Status Fat::Walk(uint32_t start, std::vector<bool>* visited, const std::string& what, Chain* out) const {
  return WalkChain(next_, count_, start, count_, visited, "FAT", what, out);
}

void Fat::Set(uint32_t s, uint32_t value) {
  next_[s] = value;
  dirty_[s / per_sector_] = true;
}

uint64_t Fat::DifatCapacity() const {
  return kHeaderDifatEntries + static_cast<uint64_t>(difat_sectors_.size()) * (per_sector_ - 1);
}

void Fat::AddFatSector() {
  const uint32_t s = count_++;
  next_.resize(next_.size() + per_sector_, kFreeSect);
  dirty_.push_back(true);
  fat_sectors_.push_back(s);
  unwritten_.push_back(s);
  Set(s, kFatSect);
  difat_dirty_ = true;
}

Status Fat::EnsureCapacity(uint64_t extra) {
  for (;;) {
    const bool need_difat = DifatCapacity() < fat_sectors_.size();
    const bool need_fat = next_.size() < static_cast<uint64_t>(count_) + extra || (need_difat && count_ >= next_.size());
    if (!need_difat && !need_fat) return Status::Ok();
    if (static_cast<uint64_t>(count_) + extra > kMaxRegSect)
      return Status(Code::kTooLarge, "FAT: the file would need more than the largest sector number");
    if (need_fat) {
      AddFatSector();
    } else {
      const uint32_t s = count_++;
      difat_sectors_.push_back(s);
      unwritten_.push_back(s);
      Set(s, kDifSect);
      difat_dirty_ = true;
    }
  }
}

Status Fat::AlignEnd(uint64_t index, uint64_t extra) {
  const uint64_t unit = AlignUnitBytes(index * sector_size_) / sector_size_;
  if (unit <= 1) return Status::Ok();
  // Sector s lies at file offset (s + 1) * sector_size; chain index `index`
  // at stream offset index * sector_size.
  auto aligned = [&] { return (static_cast<uint64_t>(count_) + 1) % unit == index % unit; };
  for (uint64_t added = 0; !aligned() && added < 2 * unit; ++added) {
    if (static_cast<uint64_t>(count_) + 1 + extra > kMaxRegSect) return Status::Ok();  // stays unaligned
    AddFatSector();
    MLR_RETURN_IF_ERROR(EnsureCapacity(extra));  // may add a DIFAT sector; the loop goes on
  }
  return Status::Ok();
}

Status Fat::Allocate(uint64_t count, Chain* chain) {
  if (count == 0) return Status::Ok();
  uint32_t prev = chain->Last();
  auto link = [&](uint32_t s) {
    if (prev != kEndOfChain) Set(prev, s);
    Set(s, kEndOfChain);
    chain->Append(s);
    prev = s;
  };
  // In place after the chain's last sector.
  if (prev != kEndOfChain) {
    for (uint32_t s = prev + 1; count > 0 && s < count_ && next_[s] == kFreeSect; ++s) {
      link(s);
      --count;
    }
  }
  // Free holes, for small requests.
  if (count > 0 && count <= kHoleReuseLimit) {
    uint32_t s = free_hint_;
    for (; count > 0 && s < count_; ++s) {
      if (next_[s] != kFreeSect) continue;
      link(s);
      --count;
    }
    free_hint_ = s;
  }
  if (count == 0) return Status::Ok();
  // One run at the end, after any FAT and DIFAT sectors it needs. A chain
  // that needs new table sectors gets extra FAT sectors (capacity for later
  // growth, at most an eighth of the chain) until its run starts at a file
  // offset that agrees with its stream position modulo a power of two of up
  // to 1 MiB: block-sized reads and writes of the stream are then aligned in
  // the file as they are in the stream, which the page cache serves with
  // large pages (unaligned ones cost up to a third more).
  const uint32_t before = count_;
  MLR_RETURN_IF_ERROR(EnsureCapacity(count));
  if (count_ != before) MLR_RETURN_IF_ERROR(AlignEnd(chain->size(), count));
  for (uint64_t i = 0; i < count; ++i) link(count_++);
  return Status::Ok();
}

void Fat::FreeOne(uint32_t s) {
  Set(s, kFreeSect);
  if (s < free_hint_) free_hint_ = s;
}

void Fat::Truncate(Chain* chain, uint64_t n) {
  if (n >= chain->size()) return;
  std::vector<uint32_t> dropped;
  chain->Truncate(n, &dropped);
  for (uint32_t s : dropped) FreeOne(s);
  if (!chain->empty()) Set(chain->Last(), kEndOfChain);
}

Status Fat::Flush(const SectorIo& io, Header* h) {
  // Changed FAT sectors that follow each other in the table and in the file
  // go out in one write.
  std::vector<uint8_t> buf;
  for (size_t i = 0; i < fat_sectors_.size();) {
    if (!dirty_[i]) {
      ++i;
      continue;
    }
    size_t j = i + 1;
    while (j < fat_sectors_.size() && dirty_[j] && fat_sectors_[j] == fat_sectors_[j - 1] + 1 &&
           (j - i) * sector_size_ < kMaxTableIo)
      ++j;
    buf.resize((j - i) * sector_size_);
    for (size_t k = 0; k < (j - i) * per_sector_; ++k) Store32(buf.data() + 4 * k, next_[i * per_sector_ + k]);
    MLR_RETURN_IF_ERROR(io.WriteSectors(fat_sectors_[i], static_cast<uint32_t>(j - i), buf.data()));
    for (size_t k = i; k < j; ++k) dirty_[k] = false;
    i = j;
  }
  buf.assign(sector_size_, 0);
  h->num_fat_sectors = static_cast<uint32_t>(fat_sectors_.size());
  for (uint32_t i = 0; i < kHeaderDifatEntries; ++i)
    h->difat[i] = i < fat_sectors_.size() ? fat_sectors_[i] : kFreeSect;
  h->num_difat_sectors = static_cast<uint32_t>(difat_sectors_.size());
  h->first_difat_sector = difat_sectors_.empty() ? kEndOfChain : difat_sectors_[0];
  if (difat_dirty_) {
    const uint32_t per_difat = per_sector_ - 1;
    size_t next_fat = kHeaderDifatEntries;
    for (size_t d = 0; d < difat_sectors_.size(); ++d) {
      for (uint32_t k = 0; k < per_difat; ++k, ++next_fat)
        Store32(buf.data() + 4 * k, next_fat < fat_sectors_.size() ? fat_sectors_[next_fat] : kFreeSect);
      Store32(buf.data() + 4 * per_difat, d + 1 < difat_sectors_.size() ? difat_sectors_[d + 1] : kEndOfChain);
      MLR_RETURN_IF_ERROR(io.WriteSectors(difat_sectors_[d], 1, buf.data()));
    }
    difat_dirty_ = false;
  }
  unwritten_.clear();  // every table sector now holds its real content
  (void)major_version_;
  return Status::Ok();
}

Status Fat::WritePlaceholders(const SectorIo& io) {
  if (unwritten_.empty()) return Status::Ok();
  // kFreeSect in every link; one write per run of consecutive sectors.
  std::sort(unwritten_.begin(), unwritten_.end());
  std::vector<uint8_t> free_links;
  for (size_t i = 0; i < unwritten_.size();) {
    size_t j = i + 1;
    while (j < unwritten_.size() && unwritten_[j] == unwritten_[j - 1] + 1 && (j - i) * sector_size_ < kMaxTableIo) ++j;
    free_links.assign((j - i) * sector_size_, 0xFF);
    MLR_RETURN_IF_ERROR(io.WriteSectors(unwritten_[i], static_cast<uint32_t>(j - i), free_links.data()));
    i = j;
  }
  unwritten_.clear();
  return Status::Ok();
}

}  // namespace mlr::storage
