#include "platform/strings.h"
#include "reader/krf_format.h"

namespace mlr::reader {

mlr::OleString FormatName(const char* pattern, uint32_t number) {
  mlr::OleString out;
  for (const char* p = pattern; *p; ++p) {
    if (p[0] == '%' && p[1] == 'd') {
      int64_t value = static_cast<int32_t>(number);
      if (value < 0) out.push_back(OLESTR('-'));
      uint64_t magnitude = value < 0 ? static_cast<uint64_t>(-value) : static_cast<uint64_t>(value);
      OLECHAR digits[24];
      int n = 0;
      do {
        digits[n++] = static_cast<OLECHAR>(OLESTR('0') + magnitude % 10);
        magnitude /= 10;
      } while (magnitude != 0);
      while (n > 0) out.push_back(digits[--n]);
      ++p;
    } else {
      out.push_back(static_cast<OLECHAR>(static_cast<unsigned char>(*p)));
    }
  }
  return out;
}

}  // namespace mlr::reader
