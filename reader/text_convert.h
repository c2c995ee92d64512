// UTF-16 <-> the "ANSI" code page, which is UTF-8 on POSIX: used for the
// recording's path (kept as ANSI text, as the file functions take it) and
// for summary-information strings. Invalid sequences become U+FFFD.
#pragma once

#include <string>

namespace mlr::reader {

std::string Utf16ToAnsi(const std::u16string& text);
std::string Utf16ToAnsi(const char16_t* text);  // null gives ""
std::u16string AnsiToUtf16(const std::string& text);

}  // namespace mlr::reader
