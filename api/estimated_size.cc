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
// - A normset contributes between 0 and its Length samples (sample numbers
//   are clamped into the normset, so odd times or steps cannot make the
//   count negative or overflow), and a start after the end touches no
//   normset.
// - Sums saturate instead of wrapping; an estimate beyond 2^31-1 KB is
//   reported as 2^31-1.
// - A null Recording or Result gives E_POINTER.
#include "api/estimated_size.h"

#include <cmath>
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

void AddSaturating(int64_t& total, int64_t amount) {
  if (amount <= 0) return;
  if (total > std::numeric_limits<int64_t>::max() - amount) {
    total = std::numeric_limits<int64_t>::max();
  } else {
    total += amount;
  }
}

// A sample number computed from a time, truncated toward zero and clamped
// into [low, high]; NaN gives `low`.
int64_t SampleNumber(double value, int64_t low, int64_t high) {
  if (!(value > static_cast<double>(low))) return low;
  if (value >= static_cast<double>(high)) return high;
  return static_cast<int64_t>(value);
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
    if (start > t0) a = SampleNumber((start - t0) / step + 1.0, 1, int64_t{length} + 1);
    if (duration > end) b = SampleNumber((end - t0) / step + 1.0, 0, length);
    if (b < a) continue;
    // At most 2^31 samples times 2^31 channels times 2 bytes: fits unsigned.
    const uint64_t bytes =
        static_cast<uint64_t>(b - a + 1) * static_cast<uint64_t>(channels) * kBytesPerSample;
    AddSaturating(size, bytes > static_cast<uint64_t>(std::numeric_limits<int64_t>::max())
                            ? std::numeric_limits<int64_t>::max()
                            : static_cast<int64_t>(bytes));
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

  const int64_t kilobytes = total / 1024 + (total % 1024 != 0 ? 1 : 0);
  *Result = kilobytes > std::numeric_limits<LONG>::max() ? std::numeric_limits<LONG>::max()
                                                         : static_cast<LONG>(kilobytes);
  return S_OK;
}
