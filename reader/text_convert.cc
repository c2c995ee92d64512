#include "reader/text_convert.h"

#include "platform/strings.h"

namespace mlr::reader {

std::string Utf16ToAnsi(const OLECHAR* text) { return ToUtf8(text); }

std::string Utf16ToAnsi(const mlr::OleString& text) { return ToUtf8(text.data(), text.size()); }

mlr::OleString AnsiToUtf16(const std::string& text) { return ToUtf16(text.data(), text.size()); }

}  // namespace mlr::reader
