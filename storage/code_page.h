// Conversions between UTF-8 (the "ANSI" text of the interfaces on POSIX) and
// the code pages a property set may declare: 1252 (Western), 28591
// (Latin-1), 20127 (ASCII), 65001 (UTF-8) and 1200 (UTF-16LE). Other code
// pages are read and written as 1252. Characters a code page cannot hold are
// written as '?'.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace mlr::storage {

constexpr uint16_t kCodePageUnicode = 1200;
constexpr uint16_t kCodePageWestern = 1252;
constexpr uint16_t kCodePageUtf8 = 65001;

// Bytes in the code page (no terminator) to UTF-8.
std::string DecodeCodePage(const uint8_t* bytes, size_t n, uint16_t code_page);
// UTF-8 to bytes in the code page (no terminator).
std::vector<uint8_t> EncodeCodePage(const std::string& utf8, uint16_t code_page);

}  // namespace mlr::storage
