// GetReducedMuxData: see api/mux_data.h for the contract.
#include <algorithm>
#include <cstdint>
#include <new>
#include <utility>
#include <vector>

#include "LegacyRecording.h"
#include "api/fold.h"
#include "api/mux_data.h"
#include "api/mux_support.h"
#include "server/error_raiser.h"

namespace mlr::api {
namespace {

constexpr int64_t kBlockFrames = 10000;

// Merges read frames into (maximum, minimum) output frames, `merge` read
// frames each, run by run rather than frame by frame.
class Merger {
 public:
  Merger(int16_t* out, size_t frames, std::vector<bool> event, int64_t merge, bool pairs)
      : out_(out), frames_(frames), event_(std::move(event)), merge_(merge), pairs_(pairs) {}

  void Add(const MuxBlock& block) {
    const size_t width = block.width();
    size_t i = 0;
    while (i < block.frames() && current_ < frames_) {
      const size_t take =
          static_cast<size_t>(std::min<int64_t>(merge_ - merged_, block.frames() - i));
      int16_t* pair = out_ + current_ * 2 * event_.size();
      for (size_t c = 0; c < event_.size(); ++c, pair += 2) {
        const int16_t* high = block.frame(i) + (pairs_ ? 2 * c : c);
        const int16_t* low = pairs_ ? high + 1 : high;
        // The first frame of an output frame is copied, the rest merged.
        if (merged_ == 0) {
          pair[0] = high[0];
          pair[1] = low[0];
        }
        if (width == 1 && !event_[c]) {
          FoldMaxMin(high, take, &pair[0], &pair[1]);  // one pass over single values
          continue;
        }
        pair[0] = FoldRun(event_[c] ? Fold::kOr : Fold::kMax, high, width, take, pair[0]);
        pair[1] = FoldRun(event_[c] ? Fold::kAnd : Fold::kMin, low, width, take, pair[1]);
      }
      i += take;
      merged_ += static_cast<int64_t>(take);
      if (merged_ == merge_) {
        merged_ = 0;
        ++current_;
      }
    }
  }

 private:
  int16_t* out_;
  size_t frames_;
  size_t current_ = 0;
  std::vector<bool> event_;
  int64_t merge_;
  int64_t merged_ = 0;
  bool pairs_;
};

HRESULT ReducedMuxData(IChannelGroup* group, SAFEARRAY** channels, LONG hnorm, LONG first,
                       LONG count, LONG reduction, LONG request, SAFEARRAY** result) {
  NormsetView normset;
  HRESULT hr = ReadNormset(group, hnorm, BadIndexReport::kInvalidIndex, &normset);
  if (FAILED(hr)) return hr;

  // Samples wanted, cut at the normset's end (the product itself can pass
  // 2^63, the limit cannot).
  const int64_t limit = int64_t{normset.length} - first + 1;
  const int64_t per_frame = int64_t{reduction} * request;
  int64_t raw = 0;
  if (count > 0) raw = count > limit / per_frame ? limit : count * per_frame;
  if (raw < 1) return RaiseError(kMsgDataNotAvailable, IID_IChannelInfo);
  const int64_t reads = (raw - 1) / request + 1;
  const size_t frames = static_cast<size_t>(std::min<int64_t>((reads - 1) / reduction + 1, count));

  ChannelSelection selection;
  if (FAILED(hr = selection.Load(*channels))) return hr;
  std::vector<bool> event(selection.size(), false);
  for (size_t c = 0; c < selection.size(); ++c) {
    VARIANT_BOOL flag = VARIANT_FALSE;
    if (selection.at(c) != nullptr && SUCCEEDED(selection.at(c)->get_EventChannel(&flag))) {
      event[c] = flag != VARIANT_FALSE;
    }
  }

  void* data = nullptr;
  SafeArrayHolder array(CreateArray(VT_I2, {2 * selection.size(), frames}, 1, true, &data));
  if (array.get() == nullptr) return E_OUTOFMEMORY;
  Merger merger(static_cast<int16_t*>(data), frames, std::move(event), reduction, request >= 2);

  int64_t done = 0;
  MuxBlock block;
  while (done < reads) {
    const int64_t ask = std::min(reads - done, kBlockFrames);
    hr = block.Read(group, channels, selection, hnorm, static_cast<LONG>(first + done * request),
                    static_cast<LONG>(ask), request);
    if (FAILED(hr)) return hr;
    if (block.frames() < 1) break;  // the group has nothing more: keep what came
    merger.Add(block);
    done += static_cast<int64_t>(block.frames());
  }
  *result = array.release();
  return hr;
}

}  // namespace
}  // namespace mlr::api

MLR_API HRESULT STDAPICALLTYPE GetReducedMuxData(IChannelGroup* ChGrp, SAFEARRAY** ChInfo,
                                                 LONG HNormIndex, LONG FirstSample,
                                                 LONG ItemCount, LONG Reduction,
                                                 LONG RequestReduction, SAFEARRAY** Result) {
  if (Result == nullptr) return E_POINTER;
  *Result = nullptr;
  if (ChGrp == nullptr || ChInfo == nullptr || *ChInfo == nullptr || Reduction < 2 ||
      RequestReduction <= 0) {
    return E_INVALIDARG;
  }
  try {
    return mlr::api::ReducedMuxData(ChGrp, ChInfo, HNormIndex, FirstSample, ItemCount, Reduction,
                                    RequestReduction, Result);
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}
