// Compiled with -ffp-contract=off (see CMakeLists.txt): a product followed by
// a sum stays two roundings, in the vector code as in the scalar code.
#include "platform/streaming_stores.h"

#include <cstdint>

#if defined(__SSE2__) || defined(_M_X64) || (defined(_M_IX86_FP) && _M_IX86_FP >= 2)
#define MLR_STREAMING_SSE2 1
#include <emmintrin.h>
#endif

namespace mlr {
namespace {

inline double ScaleOne(int16_t raw, double step, double y0) {
  const double product = static_cast<double>(raw) * step;
  return product + y0;
}

#if defined(MLR_STREAMING_SSE2)

// Elements k and k + 1 from two sign-extended samples in the low lanes of
// `samples`, stored at out + k (16-byte aligned).
inline void StreamTwo(__m128i samples, double* out, const double* step, const double* y0) {
  const __m128d product = _mm_mul_pd(_mm_cvtepi32_pd(samples), _mm_loadu_pd(step));
  _mm_stream_pd(out, _mm_add_pd(product, _mm_loadu_pd(y0)));
}

#endif

}  // namespace

void ScaleInt16Streaming(const int16_t* raw, double* out, size_t count, const double* step,
                         const double* y0) {
  size_t k = 0;
#if defined(MLR_STREAMING_SSE2)
  // Streaming stores of two doubles need a 16-byte aligned address.
  if (count > 0 && (reinterpret_cast<uintptr_t>(out) & 15) != 0) {
    out[0] = ScaleOne(raw[0], step[0], y0[0]);
    k = 1;
  }
  for (; k + 8 <= count; k += 8) {
    const __m128i eight = _mm_loadu_si128(reinterpret_cast<const __m128i*>(raw + k));
    // Sign extension to 32 bits: each sample into the high half, shifted down.
    const __m128i low = _mm_srai_epi32(_mm_unpacklo_epi16(eight, eight), 16);
    const __m128i high = _mm_srai_epi32(_mm_unpackhi_epi16(eight, eight), 16);
    StreamTwo(low, out + k, step + k, y0 + k);
    StreamTwo(_mm_shuffle_epi32(low, 0x0E), out + k + 2, step + k + 2, y0 + k + 2);
    StreamTwo(high, out + k + 4, step + k + 4, y0 + k + 4);
    StreamTwo(_mm_shuffle_epi32(high, 0x0E), out + k + 6, step + k + 6, y0 + k + 6);
  }
#endif
  for (; k < count; ++k) out[k] = ScaleOne(raw[k], step[k], y0[k]);
}

size_t LastLevelCacheBytes() {
  static const size_t bytes = [] {
    const size_t reported = SystemLastLevelCacheBytes();
    return reported != 0 ? reported : size_t{32} << 20;
  }();
  return bytes;
}

void StreamingStoresFence() {
#if defined(MLR_STREAMING_SSE2)
  _mm_sfence();
#endif
}

}  // namespace mlr
