// The compound-file header: the first 512 bytes of the file (a whole
// 4096-byte sector in version 4). Parse checks everything that can be checked
// without the rest of the file; Serialize writes the 512 defined bytes.
#pragma once

#include "storage/status.h"

#include <array>
#include <cstdint>

namespace mlr::storage {

constexpr size_t kHeaderSize = 512;

struct Header {
  uint16_t minor_version = 0x003E;
  uint16_t major_version = 3;
  uint16_t sector_shift = 9;
  uint16_t mini_sector_shift = 6;
  uint32_t num_dir_sectors = 0;  // always 0 in version 3
  uint32_t num_fat_sectors = 0;
  uint32_t first_dir_sector = 0;
  uint32_t transaction_signature = 0;
  uint32_t mini_stream_cutoff = 4096;
  uint32_t first_mini_fat_sector = 0;
  uint32_t num_mini_fat_sectors = 0;
  uint32_t first_difat_sector = 0;
  uint32_t num_difat_sectors = 0;
  std::array<uint32_t, 109> difat{};

  uint32_t sector_size() const { return 1u << sector_shift; }
};

// True if the bytes start with the compound-file signature.
bool HasSignature(const uint8_t* bytes, size_t size);

// kNotCompound for a missing signature; kCorrupt ("header: ...") for a
// signature followed by impossible values.
Result<Header> ParseHeader(const uint8_t* bytes, size_t size);

void SerializeHeader(const Header& h, uint8_t out[kHeaderSize]);

// A fresh header for an empty file of the given major version (3 or 4).
Header NewHeader(uint16_t major_version);

}  // namespace mlr::storage
