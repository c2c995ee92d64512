// The void number: the double whose bit pattern is 0x7FFFFFFFFFFFFFFF marks
// an absent value throughout the library (unset times, missing values).
// IsVoidNumber (exported) looks at the high word only; code that produces an
// absent value uses VoidNumber() exactly.
#pragma once

#include <cstdint>
#include <cstring>

namespace mlr {

inline double VoidNumber() {
  constexpr uint64_t bits = 0x7FFFFFFFFFFFFFFFull;
  double value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

// True when the high 32 bits of `value` are 0x7FFFFFFF, whatever the low word.
inline bool HasVoidHighWord(double value) {
  uint64_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  return (bits >> 32) == 0x7FFFFFFFu;
}

}  // namespace mlr
