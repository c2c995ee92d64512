#include "reader/mux_copy.h"

#include <cstring>

#include "reader/byte_reader.h"

namespace mlr::reader {
bool PicksAreIdentity(const uint32_t* picks, size_t pick_count, uint32_t channels) {
  if (pick_count != channels) return false;
  for (size_t i = 0; i < pick_count; ++i) {
    if (picks[i] != i) return false;
  }
  return true;
}

bool HostIsLittleEndian() {
  const uint16_t probe = 1;
  uint8_t first;
  std::memcpy(&first, &probe, 1);
  return first == 1;
}

void CopyPickedChannels(const uint8_t* block, size_t frames, uint32_t channels, uint32_t values,
                        const uint32_t* picks, size_t pick_count, int16_t* out) {
  if (PicksAreIdentity(picks, pick_count, channels)) {
    const size_t n = frames * channels * values;
    for (size_t i = 0; i < n; ++i) out[i] = static_cast<int16_t>(LoadU16(block + 2 * i));
    return;
  }
  const size_t frame_bytes = static_cast<size_t>(channels) * values * 2;
  if (values == 1) {
    for (size_t f = 0; f < frames; ++f) {
      const uint8_t* frame = block + f * frame_bytes;
      for (size_t k = 0; k < pick_count; ++k) {
        *out++ = static_cast<int16_t>(LoadU16(frame + 2 * picks[k]));
      }
    }
    return;
  }
  for (size_t f = 0; f < frames; ++f) {
    const uint8_t* frame = block + f * frame_bytes;
    for (size_t k = 0; k < pick_count; ++k) {
      const uint8_t* pair = frame + 4 * picks[k];
      *out++ = static_cast<int16_t>(LoadU16(pair));
      *out++ = static_cast<int16_t>(LoadU16(pair + 2));
    }
  }
}

}  // namespace mlr::reader
