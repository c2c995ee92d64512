// UTF-16 <-> the "ANSI" code page, which is UTF-8 on POSIX: used for the
// recording's path (kept as ANSI text, as the file functions take it) and
// for summary-information strings. Thin names over the platform's UTF-8
// conversions (platform/strings.h); invalid sequences become U+FFFD.
#pragma once

#include "platform/strings.h"
#include <string>

namespace mlr::reader {

std::string Utf16ToAnsi(const mlr::OleString& text);
std::string Utf16ToAnsi(const OLECHAR* text);  // null gives ""
mlr::OleString AnsiToUtf16(const std::string& text);

}  // namespace mlr::reader
