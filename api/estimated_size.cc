// GetEstimatedTotalSize: how many kilobytes a recording's data between two
// times (seconds since the recording's start) will take, for example before
// a save. It reads the recording through its interfaces only.
//
// Bytes counted: 40 per channel of a group, 24 per vertical normset of a
// channel, 46 per horizontal normset touched by the range and 2 per sample of
// each channel in the range; the total is rounded up to whole kilobytes.
// The start and end times are compared with a normset's duration, not with
// its end time: a normset's samples are skipped when the start exceeds its
// duration, and cut at the end only when its duration exceeds the end time.
// This is deliberate and kept, so that estimates stay comparable with those
// of earlier versions.
//
// Choices where the contract leaves room:
// - Failing member calls inside the estimate do not abort it; they leave the
//   missing parts out of the count.
// - Sample numbers are the truncated quotients as they stand, not clamped
//   into the normset: an end time past a normset that starts before zero
//   counts samples beyond its last one, and an end before the start gives a
//   negative count, exactly as earlier versions estimated. A normset whose
//   time step makes a sample number infinite or NaN (a zero step, say)
//   contributes no samples, and a finite sample number is held within
//   +/-2^53 so that the arithmetic cannot overflow.
// - An estimate beyond the range of the 32-bit result is held at its limit.
// - A null Recording or Result gives E_POINTER.
#include "api/estimated_size.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstdint>
#include <limits>

#include "LegacyRecording.h"
#include "api/void_number.h"
#include "platform/com_ptr.h"
#include "platform/win.h"

namespace {

constexpr int64_t kBytesPerChannel = 40;
constexpr int64_t kBytesPerVNorm = 24;
constexpr int64_t kBytesPerHNorm = 46;
constexpr int64_t kBytesPerSample = 2;

// Sums stay far inside 64 bits (counts are held within 2^53 samples, 2^31
// channels and 2^31 normsets), so plain addition cannot overflow except on
// absurd inputs; saturate there rather than wrap.
void AddSaturating(int64_t& total, int64_t amount) {
  constexpr int64_t kMax = std::numeric_limits<int64_t>::max();
  constexpr int64_t kMin = std::numeric_limits<int64_t>::min();
  if (amount > 0 && total > kMax - amount) {
    total = kMax;
  } else if (amount < 0 && total < kMin - amount) {
    total = kMin;
  } else {
    total += amount;
  }
}

// The sample number trunc(value), or false when value is not finite.
bool SampleNumber(double value, int64_t* number) {
  constexpr double kLimit = 9007199254740992.0;  // 2^53
  if (!std::isfinite(value)) return false;
  *number = static_cast<int64_t>(std::trunc(std::clamp(value, -kLimit, kLimit)));
  return true;
}

int64_t ChannelBytes(IChannelInfos* infos, LONG count) {
  int64_t size = 0;
  for (LONG i = 1; i <= count; ++i) {
    mlr::ComPtr<IChannelInfo> info;
    if (FAILED(infos->get_Item(i, info.put())) || !info) continue;
    LONG vnorm_count = 0;
    mlr::ComPtr<IVNorms> vnorms;
    if (SUCCEEDED(info->get_VNorms(vnorms.put())) && vnorms &&
        FAILED(vnorms->get_Count(&vnorm_count))) {
      vnorm_count = 0;
    }
    AddSaturating(size, kBytesPerChannel + kBytesPerVNorm * (vnorm_count > 0 ? vnorm_count : 0));
  }
  return size;
}

LONG NormsetIndex(IHNorm* normset) {
  LONG index = 0;
  if (normset && FAILED(normset->get_Index(&index))) index = 0;
  return index;
}

}  // namespace

namespace mlr {

int64_t EstimatedGroupBytes(IChannelGroup* group, double start, double end) {
  int64_t size = 0;
  LONG channels = 0;
  mlr::ComPtr<IChannelInfos> infos;
  if (SUCCEEDED(group->get_ChannelInfos(infos.put())) && infos) {
    if (FAILED(infos->get_Count(&channels)) || channels < 0) channels = 0;
    size = ChannelBytes(infos.get(), channels);
  }

  mlr::ComPtr<IHNorms> hnorms;
  LONG count = 0;
  if (FAILED(group->get_HNorms(hnorms.put())) || !hnorms || FAILED(hnorms->get_Count(&count)) ||
      count < 1) {
    return size;
  }

  mlr::ComPtr<IHNorm> first;
  mlr::ComPtr<IHNorm> last;
  if (FAILED(hnorms->GetLastStartingBefore(start, first.put())) || !first) {
    first.reset();
    (void)hnorms->get_Item(1, first.put());
  }
  if (FAILED(hnorms->GetFirstEndingAfter(end, last.put())) || !last) {
    last.reset();
    (void)hnorms->get_Item(count, last.put());
  }
  const LONG first_index = NormsetIndex(first.get());
  const LONG last_index = NormsetIndex(last.get());
  if (first_index == 0 || last_index == 0) return size;

  AddSaturating(size, kBytesPerHNorm * (static_cast<int64_t>(last_index) - first_index + 1));

  for (int64_t k = first_index; k <= last_index; ++k) {
    mlr::ComPtr<IHNorm> normset;
    if (FAILED(hnorms->get_Item(static_cast<LONG>(k), normset.put())) || !normset) continue;
    LONG length = 0;
    if (FAILED(normset->get_Length(&length)) || length < 1) continue;
    double t0 = 0.0;
    double step = 0.0;
    (void)normset->get_StartTime(&t0);
    (void)normset->get_XStep(&step);
    const double duration = (length - 1) * step;
    if (start > duration) continue;
    int64_t a = 1;
    int64_t b = length;
    if (start > t0 && !SampleNumber((start - t0) / step + 1.0, &a)) continue;
    if (duration > end && !SampleNumber((end - t0) / step + 1.0, &b)) continue;
    // |b - a + 1| <= 2^54 + 1, channels < 2^31: the product saturates only
    // in the most absurd cases, and then correctly.
    const int64_t samples = b - a + 1;
    const int64_t per_channel = samples * kBytesPerSample;
    if (channels != 0 && std::llabs(per_channel) > std::numeric_limits<int64_t>::max() / channels) {
      AddSaturating(size, per_channel > 0 ? std::numeric_limits<int64_t>::max()
                                          : std::numeric_limits<int64_t>::min());
    } else {
      AddSaturating(size, per_channel * channels);
    }
  }
  return size;
}

}  // namespace mlr

MLR_API HRESULT STDAPICALLTYPE GetEstimatedTotalSize(IRecording* Recording, double StartTime,
                                                     double EndTime, LONG* Result) {
  if (!Result || !Recording) return E_POINTER;
  if (mlr::HasVoidHighWord(StartTime)) (void)Recording->get_StartTime(&StartTime);
  if (mlr::HasVoidHighWord(EndTime)) (void)Recording->get_EndTime(&EndTime);
  if (mlr::HasVoidHighWord(StartTime) || mlr::HasVoidHighWord(EndTime)) return E_FAIL;

  int64_t total = 0;
  mlr::ComPtr<IChannelGroups> groups;
  LONG count = 0;
  if (SUCCEEDED(Recording->get_ChannelGroups(groups.put())) && groups &&
      SUCCEEDED(groups->get_Count(&count))) {
    for (LONG i = 1; i <= count; ++i) {
      mlr::ComPtr<IChannelGroup> group;
      if (FAILED(groups->get_Item(i, group.put())) || !group) continue;
      AddSaturating(total, mlr::EstimatedGroupBytes(group.get(), StartTime, EndTime));
    }
  }

  int64_t rounded = total;
  AddSaturating(rounded, 1023);
  const int64_t kilobytes = rounded / 1024;
  *Result = static_cast<LONG>(std::clamp<int64_t>(kilobytes, std::numeric_limits<LONG>::min(),
                                                  std::numeric_limits<LONG>::max()));
  return S_OK;
}
