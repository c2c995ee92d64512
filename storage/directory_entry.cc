#include "storage/directory_entry.h"

#include "platform/strings.h"
#include "storage/le.h"

#include <cstring>

namespace mlr::storage {
namespace {

char16_t Upper(char16_t c) {
  if (c >= u'a' && c <= u'z') return static_cast<char16_t>(c - 0x20);
  if (c < 0xE0) return c;
  if (c <= 0xFE) return c == 0xF7 ? c : static_cast<char16_t>(c - 0x20);
  if (c == 0xFF) return 0x178;
  if (c >= 0x100 && c <= 0x17F) {
    // Latin Extended-A pairs: even upper, odd lower, except the ranges
    // 0x139-0x148 and 0x179-0x17E where odd is upper.
    bool odd_upper = (c >= 0x139 && c <= 0x148) || (c >= 0x179 && c <= 0x17E);
    if (c == 0x131 || c == 0x138 || c == 0x149 || c == 0x17F) return c;
    if (odd_upper) return (c & 1) ? c : static_cast<char16_t>(c - 1);
    return (c & 1) ? static_cast<char16_t>(c - 1) : c;
  }
  if (c >= 0x3B1 && c <= 0x3C9 && c != 0x3C2) return static_cast<char16_t>(c - 0x20);
  if (c >= 0x430 && c <= 0x44F) return static_cast<char16_t>(c - 0x20);
  if (c >= 0x450 && c <= 0x45F) return static_cast<char16_t>(c - 0x50);
  return c;
}

}  // namespace

Status ParseDirEntry(const uint8_t* p, uint16_t major_version, uint32_t index, DirEntry* e) {
  const uint8_t type = p[66];
  if (type != 0 && type != 1 && type != 2 && type != 5)
    return Corrupt("directory: entry " + std::to_string(index) + " has the unknown type " + std::to_string(type));
  e->type = static_cast<EntryType>(type);
  const uint16_t name_bytes = Load16(p + 64);
  e->name.clear();
  if (e->type != EntryType::kEmpty) {
    // The length counts the terminating NUL: 2 to 64 bytes, even, so a name
    // holds at most 31 characters.
    if (name_bytes < 2 || name_bytes > 64 || name_bytes % 2 != 0)
      return Corrupt("directory: entry " + std::to_string(index) + " has the name length " + std::to_string(name_bytes));
    bool terminated = false;
    for (uint16_t i = 0; i + 2 <= name_bytes; i += 2) {
      char16_t c = static_cast<char16_t>(Load16(p + i));
      if (c == 0) {
        terminated = true;
        break;
      }
      e->name.push_back(c);
    }
    if (!terminated)
      return Corrupt("directory: entry " + std::to_string(index) + " has no terminator within its name length " +
                     std::to_string(name_bytes));
  }
  e->color = p[67];
  e->left = Load32(p + 68);
  e->right = Load32(p + 72);
  e->child = Load32(p + 76);
  std::memcpy(e->clsid.data(), p + 80, 16);
  e->state_bits = Load32(p + 96);
  e->creation_time = Load64(p + 100);
  e->modified_time = Load64(p + 108);
  e->start = Load32(p + 116);
  e->size = Load64(p + 120);
  if (major_version == 3) e->size &= 0xFFFFFFFFu;
  return Status::Ok();
}

void SerializeDirEntry(const DirEntry& e, uint8_t* p) {
  std::memset(p, 0, 128);
  if (e.type == EntryType::kEmpty) {
    Store32(p + 68, 0xFFFFFFFF);
    Store32(p + 72, 0xFFFFFFFF);
    Store32(p + 76, 0xFFFFFFFF);
    return;
  }
  size_t n = e.name.size() < 31 ? e.name.size() : 31;
  for (size_t i = 0; i < n; ++i) Store16(p + 2 * i, e.name[i]);
  Store16(p + 64, static_cast<uint16_t>((n + 1) * 2));
  p[66] = static_cast<uint8_t>(e.type);
  p[67] = e.color;
  Store32(p + 68, e.left);
  Store32(p + 72, e.right);
  Store32(p + 76, e.child);
  std::memcpy(p + 80, e.clsid.data(), 16);
  Store32(p + 96, e.state_bits);
  Store64(p + 100, e.creation_time);
  Store64(p + 108, e.modified_time);
  Store32(p + 116, e.start);
  Store64(p + 120, e.size);
}

int CompareNames(const std::u16string& a, const std::u16string& b) {
  if (a.size() != b.size()) return a.size() < b.size() ? -1 : 1;
  for (size_t i = 0; i < a.size(); ++i) {
    char16_t x = Upper(a[i]), y = Upper(b[i]);
    if (x != y) return x < y ? -1 : 1;
  }
  return 0;
}

Status CheckName(const std::u16string& name) {
  if (name.empty()) return Status(Code::kInvalidName, "name is empty");
  if (name.size() > 31) return Status(Code::kInvalidName, "name longer than 31 characters");
  for (char16_t c : name)
    if (c == u'/' || c == u'\\' || c == u':' || c == u'!' || c == 0)
      return Status(Code::kInvalidName, "name holds a character that names may not hold");
  return Status::Ok();
}

std::string ToUtf8(const std::u16string& s) { return mlr::ToUtf8(s.data(), s.size()); }

std::u16string FromUtf8(const std::string& s) {
  std::u16string out;
  size_t i = 0;
  while (i < s.size()) {
    uint8_t b = static_cast<uint8_t>(s[i]);
    uint32_t c;
    int extra;
    if (b < 0x80) { c = b; extra = 0; }
    else if ((b & 0xE0) == 0xC0) { c = b & 0x1F; extra = 1; }
    else if ((b & 0xF0) == 0xE0) { c = b & 0x0F; extra = 2; }
    else if ((b & 0xF8) == 0xF0) { c = b & 0x07; extra = 3; }
    else { out.push_back(0xFFFD); ++i; continue; }
    if (extra > 0 && i + extra >= s.size()) {
      out.push_back(0xFFFD);
      break;
    }
    bool bad = false;
    for (int k = 1; k <= extra; ++k) {
      uint8_t t = static_cast<uint8_t>(s[i + k]);
      if ((t & 0xC0) != 0x80) { bad = true; break; }
      c = (c << 6) | (t & 0x3F);
    }
    if (bad) { out.push_back(0xFFFD); ++i; continue; }
    i += extra + 1;
    if (c >= 0x10000) {
      c -= 0x10000;
      out.push_back(static_cast<char16_t>(0xD800 + (c >> 10)));
      out.push_back(static_cast<char16_t>(0xDC00 + (c & 0x3FF)));
    } else {
      out.push_back(static_cast<char16_t>(c));
    }
  }
  return out;
}

}  // namespace mlr::storage
