#include "reader/krf_format.h"

namespace mlr::reader {

std::u16string FormatName(const char* pattern, uint32_t number) {
  std::u16string out;
  for (const char* p = pattern; *p; ++p) {
    if (p[0] == '%' && p[1] == 'd') {
      int64_t value = static_cast<int32_t>(number);
      if (value < 0) out.push_back(u'-');
      uint64_t magnitude = value < 0 ? static_cast<uint64_t>(-value) : static_cast<uint64_t>(value);
      char16_t digits[24];
      int n = 0;
      do {
        digits[n++] = static_cast<char16_t>(u'0' + magnitude % 10);
        magnitude /= 10;
      } while (magnitude != 0);
      while (n > 0) out.push_back(digits[--n]);
      ++p;
    } else {
      out.push_back(static_cast<char16_t>(static_cast<unsigned char>(*p)));
    }
  }
  return out;
}

}  // namespace mlr::reader
