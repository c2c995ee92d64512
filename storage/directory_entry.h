// Directory entries (128 bytes each) and element names.
//
// Entries are referred to by their index in the directory. Names compare as
// the format requires: a shorter name is smaller; names of equal length
// compare character by character after upper-casing (simple case mapping of
// the Latin, Greek and Cyrillic letters). Two names that compare equal name
// the same element.
#pragma once

#include "storage/status.h"

#include <array>
#include <cstdint>
#include <string>

namespace mlr::storage {

enum class EntryType : uint8_t { kEmpty = 0, kStorage = 1, kStream = 2, kRoot = 5 };
enum : uint8_t { kRed = 0, kBlack = 1 };

struct DirEntry {
  std::u16string name;
  EntryType type = EntryType::kEmpty;
  uint8_t color = kBlack;
  uint32_t left = 0xFFFFFFFF;
  uint32_t right = 0xFFFFFFFF;
  uint32_t child = 0xFFFFFFFF;
  std::array<uint8_t, 16> clsid{};
  uint32_t state_bits = 0;
  uint64_t creation_time = 0;
  uint64_t modified_time = 0;
  uint32_t start = 0xFFFFFFFE;
  uint64_t size = 0;

  bool is_storage() const { return type == EntryType::kStorage || type == EntryType::kRoot; }
};

// Decodes one entry. `major_version` 3 ignores the high half of the size.
// kCorrupt for a bad name length or an unknown type.
Status ParseDirEntry(const uint8_t* p, uint16_t major_version, uint32_t index, DirEntry* out);
void SerializeDirEntry(const DirEntry& e, uint8_t* p);

// -1, 0, 1 as a is before, the same as, after b.
int CompareNames(const std::u16string& a, const std::u16string& b);
struct NameLess {
  bool operator()(const std::u16string& a, const std::u16string& b) const { return CompareNames(a, b) < 0; }
};

// kInvalidName for an empty name, one of more than 31 characters, or one
// holding '/', '\\', ':' or '!'.
Status CheckName(const std::u16string& name);

std::string ToUtf8(const std::u16string& s);
std::u16string FromUtf8(const std::string& s);

}  // namespace mlr::storage
