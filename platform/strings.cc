// UTF-8 <-> UTF-16 conversion. Invalid input (unpaired surrogates, bad or
// overlong UTF-8 sequences) becomes U+FFFD, one per bad unit.
#include "platform/strings.h"

namespace mlr {
namespace {

void AppendUtf8(std::string* out, char32_t c) {
  if (c < 0x80) {
    out->push_back(static_cast<char>(c));
  } else if (c < 0x800) {
    out->push_back(static_cast<char>(0xC0 | (c >> 6)));
    out->push_back(static_cast<char>(0x80 | (c & 0x3F)));
  } else if (c < 0x10000) {
    out->push_back(static_cast<char>(0xE0 | (c >> 12)));
    out->push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (c & 0x3F)));
  } else {
    out->push_back(static_cast<char>(0xF0 | (c >> 18)));
    out->push_back(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (c & 0x3F)));
  }
}

void AppendUtf16(OleString* out, char32_t c) {
  if (c < 0x10000) {
    out->push_back(static_cast<OLECHAR>(c));
  } else {
    c -= 0x10000;
    out->push_back(static_cast<OLECHAR>(0xD800 | (c >> 10)));
    out->push_back(static_cast<OLECHAR>(0xDC00 | (c & 0x3FF)));
  }
}

size_t Length16(const OLECHAR* s) {
  size_t n = 0;
  while (s[n]) ++n;
  return n;
}

size_t Length8(const char* s) {
  size_t n = 0;
  while (s[n]) ++n;
  return n;
}

}  // namespace

std::string ToUtf8(const OLECHAR* text) { return text ? ToUtf8(text, Length16(text)) : ""; }

std::string ToUtf8(const OLECHAR* text, size_t length) {
  std::string out;
  if (!text) return out;
  out.reserve(length);
  for (size_t i = 0; i < length; ++i) {
    char32_t c = text[i];
    if (c >= 0xD800 && c <= 0xDBFF && i + 1 < length && text[i + 1] >= 0xDC00 &&
        text[i + 1] <= 0xDFFF) {
      c = 0x10000 + ((c - 0xD800) << 10) + (text[i + 1] - 0xDC00);
      ++i;
    } else if (c >= 0xD800 && c <= 0xDFFF) {
      c = 0xFFFD;
    }
    AppendUtf8(&out, c);
  }
  return out;
}

OleString ToUtf16(const char* text) { return text ? ToUtf16(text, Length8(text)) : OleString(); }

OleString ToUtf16(const char* text, size_t length) {
  OleString out;
  if (!text) return out;
  out.reserve(length);
  const auto* s = reinterpret_cast<const unsigned char*>(text);
  size_t i = 0;
  while (i < length) {
    unsigned char b = s[i];
    if (b < 0x80) {
      out.push_back(b);
      ++i;
      continue;
    }
    int extra = b >= 0xF0 && b <= 0xF4 ? 3 : b >= 0xE0 ? 2 : b >= 0xC2 && b < 0xE0 ? 1 : -1;
    if (b >= 0xF5) extra = -1;
    char32_t c = extra == 3 ? (b & 0x07) : extra == 2 ? (b & 0x0F) : (b & 0x1F);
    bool ok = extra > 0 && i + static_cast<size_t>(extra) < length;
    if (ok) {
      for (int k = 1; k <= extra; ++k) {
        unsigned char t = s[i + k];
        if ((t & 0xC0) != 0x80) {
          ok = false;
          break;
        }
        c = (c << 6) | (t & 0x3F);
      }
    }
    if (ok) {
      // Overlong forms, surrogates and values beyond U+10FFFF are invalid.
      if ((extra == 2 && c < 0x800) || (extra == 3 && (c < 0x10000 || c > 0x10FFFF)) ||
          (c >= 0xD800 && c <= 0xDFFF)) {
        ok = false;
      }
    }
    if (!ok) {
      out.push_back(0xFFFD);
      ++i;
      continue;
    }
    AppendUtf16(&out, c);
    i += static_cast<size_t>(extra) + 1;
  }
  return out;
}

BSTR AllocBstrUtf8(const char* text) {
  try {
    OleString w = ToUtf16(text);
    return SysAllocStringLen(w.data(), static_cast<UINT>(w.size()));
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // namespace mlr
