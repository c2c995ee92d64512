// Special sector numbers of the allocation tables and the directory.
#pragma once

#include <cstdint>

namespace mlr::storage {

constexpr uint32_t kMaxRegSect = 0xFFFFFFFA;  // the largest ordinary sector number
constexpr uint32_t kDifSect = 0xFFFFFFFC;     // the sector holds part of the DIFAT
constexpr uint32_t kFatSect = 0xFFFFFFFD;     // the sector holds part of the FAT
constexpr uint32_t kEndOfChain = 0xFFFFFFFE;
constexpr uint32_t kFreeSect = 0xFFFFFFFF;
constexpr uint32_t kNoStream = 0xFFFFFFFF;   // no directory entry

constexpr uint32_t kMiniSectorSize = 64;
constexpr uint32_t kMiniStreamCutoff = 4096;
constexpr uint32_t kHeaderDifatEntries = 109;
constexpr uint32_t kDirEntrySize = 128;

}  // namespace mlr::storage
