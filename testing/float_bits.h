// The bit patterns of floating-point values, for tests that compare results
// bit for bit (void markers, NaN payloads, signed zeros).
#pragma once

#include <cstdint>
#include <cstring>

namespace mlr::testing {

inline uint64_t Bits(double value) {
  uint64_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

inline uint32_t Bits(float value) {
  uint32_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

inline double FromBits(uint64_t bits) {
  double value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

}  // namespace mlr::testing
