#include "storage/header.h"

#include "storage/le.h"
#include "storage/sector_ids.h"

#include <cstring>

namespace mlr::storage {
namespace {

const uint8_t kSignature[8] = {0xD0, 0xCF, 0x11, 0xE0, 0xA1, 0xB1, 0x1A, 0xE1};

}  // namespace

bool HasSignature(const uint8_t* bytes, size_t size) {
  return size >= sizeof(kSignature) && std::memcmp(bytes, kSignature, sizeof(kSignature)) == 0;
}

Result<Header> ParseHeader(const uint8_t* b, size_t size) {
  if (!HasSignature(b, size)) return Status(Code::kNotCompound, "header: no compound-file signature");
  if (size < kHeaderSize) return Corrupt("header: file shorter than the header");
  Header h;
  h.minor_version = Load16(b + 24);
  h.major_version = Load16(b + 26);
  if (Load16(b + 28) != 0xFFFE) return Corrupt("header: byte order mark is not 0xFFFE");
  h.sector_shift = Load16(b + 30);
  h.mini_sector_shift = Load16(b + 32);
  if (h.major_version != 3 && h.major_version != 4)
    return Corrupt("header: unknown major version " + std::to_string(h.major_version));
  if ((h.major_version == 3 && h.sector_shift != 9) || (h.major_version == 4 && h.sector_shift != 12))
    return Corrupt("header: sector shift " + std::to_string(h.sector_shift) + " does not fit version " +
                   std::to_string(h.major_version));
  if (h.mini_sector_shift != 6)
    return Corrupt("header: mini sector shift " + std::to_string(h.mini_sector_shift) + " is not 6");
  h.num_dir_sectors = Load32(b + 40);
  h.num_fat_sectors = Load32(b + 44);
  h.first_dir_sector = Load32(b + 48);
  h.transaction_signature = Load32(b + 52);
  h.mini_stream_cutoff = Load32(b + 56);
  if (h.mini_stream_cutoff != kMiniStreamCutoff)
    return Corrupt("header: mini stream cutoff " + std::to_string(h.mini_stream_cutoff) + " is not 4096");
  h.first_mini_fat_sector = Load32(b + 60);
  h.num_mini_fat_sectors = Load32(b + 64);
  h.first_difat_sector = Load32(b + 68);
  h.num_difat_sectors = Load32(b + 72);
  for (uint32_t i = 0; i < kHeaderDifatEntries; ++i) h.difat[i] = Load32(b + 76 + 4 * i);
  return h;
}

void SerializeHeader(const Header& h, uint8_t* out) {
  std::memset(out, 0, kHeaderSize);
  std::memcpy(out, kSignature, sizeof(kSignature));
  Store16(out + 24, h.minor_version);
  Store16(out + 26, h.major_version);
  Store16(out + 28, 0xFFFE);
  Store16(out + 30, h.sector_shift);
  Store16(out + 32, h.mini_sector_shift);
  Store32(out + 40, h.major_version == 3 ? 0 : h.num_dir_sectors);
  Store32(out + 44, h.num_fat_sectors);
  Store32(out + 48, h.first_dir_sector);
  Store32(out + 52, h.transaction_signature);
  Store32(out + 56, h.mini_stream_cutoff);
  Store32(out + 60, h.first_mini_fat_sector);
  Store32(out + 64, h.num_mini_fat_sectors);
  Store32(out + 68, h.first_difat_sector);
  Store32(out + 72, h.num_difat_sectors);
  for (uint32_t i = 0; i < kHeaderDifatEntries; ++i) Store32(out + 76 + 4 * i, h.difat[i]);
}

Header NewHeader(uint16_t major_version) {
  Header h;
  h.major_version = major_version;
  h.sector_shift = major_version == 4 ? 12 : 9;
  h.first_dir_sector = kEndOfChain;
  h.first_mini_fat_sector = kEndOfChain;
  h.first_difat_sector = kEndOfChain;
  h.difat.fill(kFreeSect);
  return h;
}

}  // namespace mlr::storage
