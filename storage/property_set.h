// The serialized property set (a simple property set stream): decoding and
// encoding of one section, and the stream name of a format identifier.
//
// Values of the types the interfaces convert (VT_I2, VT_I4, VT_UI2, VT_UI4,
// VT_BOOL, VT_R4, VT_R8, VT_I8, VT_UI8, VT_LPSTR, VT_LPWSTR, VT_FILETIME) are
// decoded; VT_LPSTR text is held as UTF-8 and converted from and to the
// set's code page (property 1). Values of other types, the dictionary
// (property 0) among them, are kept as stored and written back unchanged.
// Sections after the first are not kept.
#pragma once

#include "storage/status.h"

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace mlr::storage {

using Guid = std::array<uint8_t, 16>;  // in its on-disk byte order

enum : uint16_t {
  kVtEmpty = 0, kVtI2 = 2, kVtI4 = 3, kVtR4 = 4, kVtR8 = 5, kVtBool = 11, kVtUI2 = 18, kVtUI4 = 19,
  kVtI8 = 20, kVtUI8 = 21, kVtLpstr = 30, kVtLpwstr = 31, kVtFiletime = 64,
};
constexpr uint32_t kPidCodePage = 1;

struct PropValue {
  uint16_t vt = kVtEmpty;
  uint64_t bits = 0;      // integers (sign-extended), booleans, FILETIME, the bits of R4/R8
  std::string text;       // VT_LPSTR, as UTF-8
  std::u16string wtext;   // VT_LPWSTR
  std::vector<uint8_t> raw;  // any other type: the stored bytes after the type word
};

struct PropertySet {
  Guid fmtid{};
  Guid clsid{};
  uint32_t system_id = 0x00020006;
  uint16_t code_page = 1252;
  std::map<uint32_t, PropValue> values;  // without the code page
};

// Decodes a property set stream; kCorrupt ("property set: ...") if damaged.
Status ParsePropertySet(const uint8_t* bytes, size_t size, PropertySet* out);
std::vector<uint8_t> SerializePropertySet(const PropertySet& set);

// "\005SummaryInformation" and the other fixed names, else "\005" and 26
// characters formed from the identifier's bits.
std::u16string PropertySetStreamName(const Guid& fmtid);
// The identifier a stream name stands for, if it is a property set name.
bool PropertySetIdFromName(const std::u16string& name, Guid* fmtid);

extern const Guid kFmtidSummaryInformation;

}  // namespace mlr::storage
