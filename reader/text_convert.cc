#include "reader/text_convert.h"

#include "platform/strings.h"

#include <cstdint>

namespace mlr::reader {

std::string Utf16ToAnsi(const OLECHAR* text) { return ToUtf8(text); }

std::string Utf16ToAnsi(const mlr::OleString& text) { return ToUtf8(text.data(), text.size()); }

mlr::OleString AnsiToUtf16(const std::string& text) {
  mlr::OleString out;
  out.reserve(text.size());
  size_t i = 0;
  while (i < text.size()) {
    const uint8_t b = static_cast<uint8_t>(text[i]);
    uint32_t c = 0xFFFD;
    size_t n = 1;
    if (b < 0x80) {
      c = b;
    } else if ((b & 0xE0) == 0xC0) {
      n = 2;
    } else if ((b & 0xF0) == 0xE0) {
      n = 3;
    } else if ((b & 0xF8) == 0xF0) {
      n = 4;
    }
    if (n > 1) {
      if (i + n > text.size()) {
        n = 1;
      } else {
        c = b & (0xFF >> (n + 1));
        for (size_t k = 1; k < n; ++k) {
          const uint8_t t = static_cast<uint8_t>(text[i + k]);
          if ((t & 0xC0) != 0x80) {
            c = 0xFFFD;
            n = k;
            break;
          }
          c = (c << 6) | (t & 0x3F);
        }
      }
    }
    i += n;
    if (c >= 0x10000 && c <= 0x10FFFF) {
      c -= 0x10000;
      out.push_back(static_cast<OLECHAR>(0xD800 + (c >> 10)));
      out.push_back(static_cast<OLECHAR>(0xDC00 + (c & 0x3FF)));
    } else {
      out.push_back(static_cast<OLECHAR>(c > 0x10FFFF ? 0xFFFD : c));
    }
  }
  return out;
}

}  // namespace mlr::reader
