#include "storage/code_page.h"

#include "storage/directory_entry.h"

namespace mlr::storage {
namespace {

// Code page 1252 at 0x80..0x9F; 0 marks a byte with no character.
const char16_t k1252High[32] = {
    0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0,      0x017D, 0,      0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};

bool IsSingleByte(uint16_t cp) { return cp != kCodePageUnicode && cp != kCodePageUtf8; }

}  // namespace

std::string DecodeCodePage(const uint8_t* bytes, size_t n, uint16_t cp) {
  if (cp == kCodePageUtf8) return std::string(reinterpret_cast<const char*>(bytes), n);
  std::u16string wide;
  if (cp == kCodePageUnicode) {
    for (size_t i = 0; i + 1 < n; i += 2) wide.push_back(static_cast<char16_t>(bytes[i] | (bytes[i + 1] << 8)));
    return ToUtf8(wide);
  }
  for (size_t i = 0; i < n; ++i) {
    uint8_t b = bytes[i];
    if (cp == 20127 && b >= 0x80) {
      wide.push_back(0xFFFD);
    } else if (cp != 28591 && b >= 0x80 && b < 0xA0) {
      char16_t c = k1252High[b - 0x80];
      wide.push_back(c ? c : b);
    } else {
      wide.push_back(b);
    }
  }
  return ToUtf8(wide);
}

std::vector<uint8_t> EncodeCodePage(const std::string& utf8, uint16_t cp) {
  if (cp == kCodePageUtf8) return std::vector<uint8_t>(utf8.begin(), utf8.end());
  std::u16string wide = FromUtf8(utf8);
  std::vector<uint8_t> out;
  if (!IsSingleByte(cp)) {
    for (char16_t c : wide) {
      out.push_back(static_cast<uint8_t>(c));
      out.push_back(static_cast<uint8_t>(c >> 8));
    }
    return out;
  }
  const uint16_t limit = cp == 20127 ? 0x80 : 0x100;
  for (char16_t c : wide) {
    if (c < limit && (cp == 28591 || cp == 20127 || c < 0x80 || c >= 0xA0)) {
      out.push_back(static_cast<uint8_t>(c));
      continue;
    }
    uint8_t b = '?';
    if (cp != 28591 && cp != 20127)
      for (int k = 0; k < 32; ++k)
        if (k1252High[k] == c) b = static_cast<uint8_t>(0x80 + k);
    out.push_back(b);
  }
  return out;
}

}  // namespace mlr::storage
