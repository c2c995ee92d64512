// Compiled with -ffp-contract=off (see CMakeLists.txt): a product followed by
// a sum stays two roundings.
#include "api/scaling.h"

#include <atomic>
#include <cstring>

#include "platform/streaming_stores.h"

namespace mlr::api {
namespace {

constexpr size_t kUnset = ~size_t{0};
std::atomic<size_t> g_streaming_threshold{kUnset};

}  // namespace

size_t StreamingThresholdBytes() {
  const size_t threshold = g_streaming_threshold.load(std::memory_order_relaxed);
  return threshold != kUnset ? threshold : LastLevelCacheBytes();
}

size_t SetStreamingThresholdBytes(size_t bytes) {
  const size_t before = StreamingThresholdBytes();
  g_streaming_threshold.store(bytes, std::memory_order_relaxed);
  return before;
}

double Scale(int16_t raw, double y0, double step) {
  const double product = static_cast<double>(raw) * step;
  return product + y0;
}

void ScaleContiguous(const int16_t* __restrict raw, double* __restrict out, size_t count,
                     const double* __restrict step, const double* __restrict y0) {
  // Blocks of a fixed length let the compiler vectorise the inner loop
  // without a run-time trip count; the tail is done one by one.
  constexpr size_t kBlock = 16;
  size_t k = 0;
  for (; k + kBlock <= count; k += kBlock) {
    for (size_t j = 0; j < kBlock; ++j) {
      const double product = static_cast<double>(raw[k + j]) * step[k + j];
      out[k + j] = product + y0[k + j];
    }
  }
  for (; k < count; ++k) out[k] = Scale(raw[k], y0[k], step[k]);
}

void ScaleStrided(const int16_t* raw, size_t raw_stride, double* out, size_t stride, size_t count,
                  double y0, double step) {
  for (size_t k = 0; k < count; ++k) out[k * stride] = Scale(raw[k * raw_stride], y0, step);
}

double EventBits(int16_t raw) {
  unsigned char bytes[sizeof(double)] = {};
  std::memcpy(bytes, &raw, sizeof raw);
  double bits;
  std::memcpy(&bits, bytes, sizeof bits);
  return bits;
}

int16_t EventWord(double bits) {
  int16_t raw;
  std::memcpy(&raw, &bits, sizeof raw);
  return raw;
}

void EventStrided(const int16_t* raw, double* out, size_t stride, size_t count) {
  for (size_t k = 0; k < count; ++k) out[k * stride] = EventBits(raw[k * stride]);
}

}  // namespace mlr::api
