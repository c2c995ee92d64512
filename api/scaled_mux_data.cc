// GetScaledMuxData: see api/mux_data.h for the contract.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <new>
#include <vector>

#include "LegacyRecording.h"
#include "api/mux_data.h"
#include "api/mux_support.h"
#include "api/scaling.h"
#include "platform/streaming_stores.h"
#include "server/error_raiser.h"

namespace mlr::api {
namespace {

// Frames converted together: small enough that a tile of output stays in
// the cache.
constexpr size_t kTileFrames = 256;
// Frames one coefficient pattern of the fast path covers (a divisor of
// kTileFrames): small enough to stay in the first-level cache beside the data.
constexpr size_t kPatternFrames = 32;

enum class Kind { kZero, kEvent, kAnalog };

// Frames [previous end, end) of one channel share one treatment.
struct Run {
  size_t end = 0;
  Kind kind = Kind::kZero;
  double y0 = 0.0;
  double step = 0.0;
};

// How many output frames, from frame `done` on, share the vertical normset
// that ends at `norm_end`. `first_time` is the time of that frame's first
// sample; `reduction` the samples per output frame.
size_t RunLength(double norm_end, double first_time, double x_step, int64_t reduction,
                 size_t remaining) {
  const double samples = std::floor((norm_end - first_time) / x_step + 0.1);
  if (std::isnan(samples)) return remaining;  // a zero step: one normset serves all
  constexpr double kLimit = 4611686018427387904.0;  // 2^62: keeps the integers exact
  const int64_t whole = static_cast<int64_t>(std::clamp(samples, -kLimit, kLimit));
  const int64_t frames = reduction > 1 ? (whole - 1) / reduction + 1 : whole;
  if (frames < 1) return 1;
  return static_cast<uint64_t>(frames) < remaining ? static_cast<size_t>(frames) : remaining;
}

// The runs of one analog channel over `frames` output frames, each frame i
// starting at sample first + i x reduction of `normset`.
HRESULT AnalogRuns(IChannelInfo* channel, const NormsetView& normset, LONG first, int64_t reduction,
                   size_t frames, std::vector<Run>* runs) {
  ComPtr<IVNorms> vnorms;
  HRESULT hr = channel->get_VNorms(vnorms.put());
  if (FAILED(hr)) return hr;
  if (!vnorms) return RaiseError(kMsgNoVerticalNormsets, IID_IChannelInfo);
  size_t i = 0;
  while (i < frames) {
    const int64_t sample = int64_t{first} + static_cast<int64_t>(i) * reduction - 1;
    const double t = normset.start + static_cast<double>(sample) * normset.step;
    ComPtr<IVNorm> vnorm;
    if (FAILED(hr = vnorms->GetFromTime(t, vnorm.put()))) return hr;
    if (!vnorm) return RaiseError(kMsgNoVerticalNormsets, IID_IChannelInfo);
    Run run;
    run.kind = Kind::kAnalog;
    double end = 0.0;
    if (FAILED(hr = vnorm->get_EndTime(&end)) || FAILED(hr = vnorm->get_YStep(&run.step)) ||
        FAILED(hr = vnorm->get_Y0(&run.y0))) {
      return hr;
    }
    i += RunLength(end, t, normset.step, reduction, frames - i);
    run.end = i;
    runs->push_back(run);
  }
  return S_OK;
}

// The runs of every selected channel.
HRESULT ChannelRuns(const ChannelSelection& selection, const NormsetView& normset, LONG first,
                    int64_t reduction, size_t frames, std::vector<std::vector<Run>>* runs) {
  runs->assign(selection.size(), {});
  for (size_t c = 0; c < selection.size(); ++c) {
    IChannelInfo* channel = selection.at(c);
    Run whole;
    whole.end = frames;
    if (channel == nullptr) {
      (*runs)[c].push_back(whole);
      continue;
    }
    VARIANT_BOOL event = VARIANT_FALSE;
    const HRESULT hr = channel->get_EventChannel(&event);
    if (FAILED(hr)) return hr;
    if (event != VARIANT_FALSE) {
      whole.kind = Kind::kEvent;
      (*runs)[c].push_back(whole);
      continue;
    }
    const HRESULT analog = AnalogRuns(channel, normset, first, reduction, frames, &(*runs)[c]);
    if (FAILED(analog)) return analog;
  }
  return S_OK;
}

// Full rate: out[c + i x width] from the raw value of channel c in frame i,
// width = channels. Frames are converted in order, a stretch at a time.
// `stream`: tiles without event columns are written with streaming stores,
// which the caller fences before it hands the result out.
class FullRateScaler {
 public:
  FullRateScaler(const std::vector<std::vector<Run>>& runs, double* out, bool stream)
      : runs_(runs), out_(out), width_(runs.size()), stream_(stream), cursor_(runs.size(), 0) {}

  // Frames [begin, end), whose raw values start at `raw` (frame begin); begin
  // is where the previous call ended (0 at first).
  void Convert(size_t begin, size_t end, const int16_t* raw) {
    raw_ = raw;
    begin_ = begin;
    for (size_t a = begin; a < end; a += kTileFrames) {
      const size_t b = std::min(end, a + kTileFrames);
      if (AdvanceTo(a, b)) {
        ConvertUniform(a, b);
      } else {
        ConvertPieces(a, b);
      }
    }
  }

 private:
  // Moves each channel's cursor to the run holding frame a; true when every
  // channel keeps that run up to frame b.
  bool AdvanceTo(size_t a, size_t b) {
    bool uniform = true;
    for (size_t c = 0; c < width_; ++c) {
      while (runs_[c][cursor_[c]].end <= a) ++cursor_[c];
      if (runs_[c][cursor_[c]].end < b) uniform = false;
    }
    return uniform;
  }

  // Every channel has one run over [a, b): one contiguous loop with the
  // coefficients laid out like the frames, then the event words on top.
  void ConvertUniform(size_t a, size_t b) {
    if (pattern_cursor_ != cursor_) BuildPattern();
    // A tile with event columns is written the ordinary way: its event words
    // go over the scaled zeros afterwards and should find the lines cached.
    const bool stream = stream_ && !events_;
    for (size_t i = a; i < b; i += kPatternFrames) {
      const size_t count = (std::min(b, i + kPatternFrames) - i) * width_;
      if (stream) {
        ScaleInt16Streaming(RawAt(i), out_ + i * width_, count, step_.data(), y0_.data());
      } else {
        ScaleContiguous(RawAt(i), out_ + i * width_, count, step_.data(), y0_.data());
      }
    }
    if (!events_) return;
    for (size_t c = 0; c < width_; ++c) {
      if (runs_[c][cursor_[c]].kind == Kind::kEvent) {
        EventStrided(RawAt(a) + c, out_ + a * width_ + c, width_, b - a);
      }
    }
  }

  void BuildPattern() {
    step_.resize(kPatternFrames * width_);
    y0_.resize(kPatternFrames * width_);
    events_ = false;
    for (size_t c = 0; c < width_; ++c) {
      const Run& run = runs_[c][cursor_[c]];
      if (run.kind == Kind::kEvent) events_ = true;
      // Zero and event columns: x 0 + 0 gives +0.0, events are written after.
      const double step = run.kind == Kind::kAnalog ? run.step : 0.0;
      const double y0 = run.kind == Kind::kAnalog ? run.y0 : 0.0;
      for (size_t i = 0; i < kPatternFrames; ++i) {
        step_[i * width_ + c] = step;
        y0_[i * width_ + c] = y0;
      }
    }
    pattern_cursor_ = cursor_;
  }

  // A normset changes inside the tile: channel by channel, run by run.
  void ConvertPieces(size_t a, size_t b) {
    for (size_t c = 0; c < width_; ++c) {
      size_t k = cursor_[c];
      for (size_t i = a; i < b; ++k) {
        const Run& run = runs_[c][k];
        const size_t end = std::min(run.end, b);
        const size_t offset = i * width_ + c;
        const int16_t* raw = RawAt(i) + c;
        switch (run.kind) {
          case Kind::kZero:
            for (size_t j = i; j < end; ++j) out_[j * width_ + c] = 0.0;
            break;
          case Kind::kEvent:
            EventStrided(raw, out_ + offset, width_, end - i);
            break;
          case Kind::kAnalog:
            ScaleStrided(raw, width_, out_ + offset, width_, end - i, run.y0, run.step);
            break;
        }
        i = end;
      }
    }
  }

  // The raw values of frame i (of the stretch being converted).
  const int16_t* RawAt(size_t i) const { return raw_ + (i - begin_) * width_; }

  const std::vector<std::vector<Run>>& runs_;
  const int16_t* raw_ = nullptr;
  size_t begin_ = 0;
  double* out_;
  size_t width_;
  bool stream_;
  std::vector<size_t> cursor_;
  std::vector<size_t> pattern_cursor_;
  std::vector<double> step_;
  std::vector<double> y0_;
  bool events_ = false;  // the pattern has an event column
};

// Reduced: (maximum, minimum) pairs; the larger technical value first.
void ConvertPairs(const std::vector<std::vector<Run>>& runs, const int16_t* raw, double* out) {
  const size_t width = 2 * runs.size();
  for (size_t c = 0; c < runs.size(); ++c) {
    size_t i = 0;
    for (const Run& run : runs[c]) {
      if (run.kind == Kind::kAnalog) {
        const size_t high = run.step >= 0.0 ? 0 : 1;  // the raw column that scales larger
        const size_t offset = i * width + 2 * c;
        ScaleStrided(raw + offset + high, width, out + offset, width, run.end - i, run.y0, run.step);
        ScaleStrided(raw + offset + (1 - high), width, out + offset + 1, width, run.end - i, run.y0,
                     run.step);
      }
      i = run.end;
    }
  }
}

// Frames of one full-rate read: about 256 KiB of raw values, so that each
// chunk is scaled while it is still in the cache.
size_t ChunkFrames(size_t channels) {
  constexpr size_t kChunkBytes = size_t{256} << 10;
  return std::max(kTileFrames, kChunkBytes / (sizeof(int16_t) * std::max<size_t>(channels, 1)));
}

HRESULT ScaledMuxData(IChannelGroup* group, SAFEARRAY** channels, LONG hnorm, LONG first,
                      LONG count, LONG reduction, SAFEARRAY** result) {
  NormsetView normset;
  HRESULT hr = ReadNormset(group, hnorm, BadIndexReport::kNoNormsets, &normset);
  if (FAILED(hr)) return hr;
  if (normset.length == 0) return RaiseError(kMsgNoSamplesInTimezone, IID_IChannelGroup);

  ChannelSelection selection;
  if (FAILED(hr = selection.Load(channels == nullptr ? nullptr : *channels))) return hr;
  const bool pairs = reduction >= 2;
  const size_t width = (pairs ? 2 : 1) * selection.size();

  // Pairs come in one read; full rate in chunks, the first of which says
  // whether there are more.
  const LONG chunk = static_cast<LONG>(ChunkFrames(selection.size()));
  const LONG asked = pairs ? count : std::min(count, chunk);
  MuxBlock block;
  hr = block.Read(group, channels, selection, hnorm, first, asked, pairs ? reduction : 1);
  if (FAILED(hr)) return hr;
  size_t frames = block.frames();
  if (frames < 1 || width == 0) return RaiseError(kMsgDataNotAvailable, IID_IChannelGroup);
  size_t total = frames;
  if (asked < count) {
    frames = std::min(frames, static_cast<size_t>(asked));
    const int64_t available = int64_t{normset.length} - first + 1;
    total = static_cast<size_t>(std::max<int64_t>(frames, std::min<int64_t>(count, available)));
  }

  std::vector<std::vector<Run>> runs;
  if (FAILED(hr = ChannelRuns(selection, normset, first, pairs ? reduction : 1, total, &runs))) {
    return hr;
  }

  void* data = nullptr;
  // Full rate writes every element; pairs leave event and empty columns zero.
  SafeArrayHolder array(CreateArray(VT_R8, {width, total}, 0, pairs, &data));
  if (array.get() == nullptr) return E_OUTOFMEMORY;
  if (pairs) {
    ConvertPairs(runs, block.data(), static_cast<double*>(data));
    *result = array.release();
    return S_OK;
  }
  // A result larger than the last-level cache cannot be found there by the
  // caller anyway: it goes to memory without being read first.
  const bool stream = width * total * sizeof(double) > StreamingThresholdBytes();
  FullRateScaler scaler(runs, static_cast<double*>(data), stream);
  size_t done = 0;
  for (;;) {
    scaler.Convert(done, done + frames, block.data());
    done += frames;
    if (done >= total) break;
    const LONG next = static_cast<LONG>(std::min(total - done, static_cast<size_t>(chunk)));
    hr = block.Read(group, channels, selection, hnorm, first + static_cast<LONG>(done), next, 1);
    if (FAILED(hr)) break;
    frames = std::min(block.frames(), static_cast<size_t>(next));
    if (frames == 0) break;
  }
  if (stream) StreamingStoresFence();
  if (FAILED(hr)) return hr;
  // A group that delivers fewer frames than its normset promised.
  if (done < total && FAILED(hr = ShrinkLastDimension(array.get(), done))) return hr;
  *result = array.release();
  return S_OK;
}

}  // namespace
}  // namespace mlr::api

MLR_API HRESULT STDAPICALLTYPE GetScaledMuxData(IChannelGroup* ChGrp, SAFEARRAY** ChInfo,
                                                LONG HNormIndex, LONG FirstSample, LONG ItemCount,
                                                LONG Reduction, SAFEARRAY** Result) {
  if (Result == nullptr) return E_POINTER;
  *Result = nullptr;
  if (ChGrp == nullptr) return E_INVALIDARG;
  try {
    return mlr::api::ScaledMuxData(ChGrp, ChInfo, HNormIndex, FirstSample, ItemCount, Reduction,
                                   Result);
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}
