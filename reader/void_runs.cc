#include "reader/void_runs.h"

#include <algorithm>
#include <cmath>

#include "reader/krf_format.h"

namespace mlr::reader {

size_t LeadingVoidCount(const int16_t* samples, size_t count, size_t stride) {
  size_t k = 0;
  while (k < count && samples[k * stride] == kAbsentSample) ++k;
  return k;
}

size_t ForwardVoidIndex(const int16_t* samples, size_t count, size_t stride) {
  if (count == 0) return 0;
  size_t index = count - 1;
  while (index < count && samples[index * stride] == kAbsentSample) ++index;
  return index;
}

namespace {

// 0-based position of the first sample at or after `time` in `h`, within
// [0, length].
uint32_t FirstSampleAtOrAfter(const HNormSpan& h, double time) {
  if (!(h.x_step > 0) || !std::isfinite(h.x_step)) return 0;
  const double pos = std::ceil((time - h.start_time) / h.x_step);
  if (!(pos > 0)) return 0;
  if (pos >= h.length) return h.length;
  return static_cast<uint32_t>(pos);
}

}  // namespace

bool FindVoidRunAround(const std::vector<HNormSpan>& hnorms, double time,
                       const ChannelSampleReader& read, double* run_start, double* run_end) {
  size_t h = 0;
  while (h < hnorms.size()) {
    const HNormSpan& s = hnorms[h];
    if (s.start_time >= time || time < s.start_time + s.x_step * s.length) break;
    ++h;
  }
  if (h == hnorms.size()) return false;
  const uint32_t pos = FirstSampleAtOrAfter(hnorms[h], time);
  int16_t chunk[kVoidScanChunk];

  // Backward from there, on into the tails of the preceding normsets while
  // the run reaches a normset's first sample.
  size_t start_h = h;
  uint32_t first_void = pos;
  for (size_t k = h + 1; k-- > 0;) {
    const uint32_t from = k == h ? pos : hnorms[k].length;
    uint32_t at = from;
    bool stop = false;
    while (at > 0 && !stop) {
      const uint32_t n = std::min(at, kVoidScanChunk);
      if (!read(k, at - n, n, chunk)) {
        stop = true;
        break;
      }
      uint32_t i = n;
      while (i > 0 && chunk[i - 1] == kAbsentSample) --i;
      stop = i > 0;
      at -= n - i;
    }
    if (at < from) {
      start_h = k;
      first_void = at;
    }
    if (stop) break;
  }

  // Forward across the following normsets.
  size_t end_h = h;
  uint32_t end_pos = pos;
  for (size_t k = h; k < hnorms.size(); ++k) {
    uint32_t j = k == h ? pos : 0;
    bool broke = false;
    while (j < hnorms[k].length) {
      const uint32_t n = std::min(hnorms[k].length - j, kVoidScanChunk);
      if (!read(k, j, n, chunk)) {
        broke = true;
        break;
      }
      uint32_t i = 0;
      while (i < n && chunk[i] == kAbsentSample) ++i;
      j += i;
      if (i > 0) {
        end_h = k;
        end_pos = j;
      }
      if (i < n) {
        broke = true;
        break;
      }
    }
    if (broke) break;
  }

  const HNormSpan& a = hnorms[start_h];
  const HNormSpan& b = hnorms[end_h];
  *run_start = a.start_time + first_void * a.x_step;
  *run_end = b.start_time + end_pos * b.x_step;
  return *run_end > *run_start;
}

}  // namespace mlr::reader
