// GetDisplayData: see api/display_data.h for the contract.
#include "api/display_data.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <new>

#include "LegacyRecording.h"
#include "api/mux_support.h"
#include "api/void_number.h"
#include "server/error_raiser.h"

namespace mlr::api {
namespace {

constexpr LONG kBlockValues = 16384;
constexpr float kNoMax = -1.0e30f;
constexpr float kNoMin = 1.0e30f;

bool IsVoid(double value) {
  uint64_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  return bits == 0x7FFFFFFFFFFFFFFFull;
}

// trunc(value) as a LONG, held within the LONG range (NaN gives 0).
LONG ClampToLong(double value) {
  if (!(value == value)) return 0;
  return static_cast<LONG>(std::clamp(std::trunc(value), -2147483648.0, 2147483647.0));
}

// The points and the one being filled.
class Points {
 public:
  Points(float* out, LONG count, double start, double width)
      : out_(out), count_(count), start_(start), width_(width) {
    for (LONG i = 0; i < count; ++i) {
      out_[2 * i] = kNoMax;
      out_[2 * i + 1] = kNoMin;
    }
  }

  bool left() const { return done_ < count_; }
  LONG done() const { return done_; }
  double time() const { return start_ + static_cast<double>(done_) * width_; }
  bool has_data() const { return has_data_; }

  // Merges a (maximum, minimum) into the current point; void values are
  // left out.
  void Merge(double high, double low) {
    float* point = out_ + 2 * done_;
    if (!IsVoid(high) && high > max_) max_ = high, point[0] = static_cast<float>(high);
    if (!IsVoid(low) && low < min_) min_ = low, point[1] = static_cast<float>(low);
    has_data_ = true;
  }

  // Sets both elements of the current point (an interpolated value).
  void Set(double value) {
    out_[2 * done_] = out_[2 * done_ + 1] = static_cast<float>(value);
    max_ = min_ = value;
  }

  // Closes every point whose time lies before `t` (a sample about to be
  // merged belongs to the first point at or after its time).
  void CloseBefore(double t) {
    while (left() && t > time()) Close();
  }

  // Closes the current point: void when it received nothing.
  void Close() {
    float* point = out_ + 2 * done_;
    if (point[1] > point[0]) point[0] = point[1] = static_cast<float>(VoidNumber());
    ++done_;
    max_ = -HUGE_VAL;
    min_ = HUGE_VAL;
    has_data_ = false;
  }

  // The point being filled counts as done without being closed.
  void Finish() {
    if (has_data_ && left()) ++done_;
    has_data_ = false;
  }

 private:
  float* out_;
  LONG count_;
  double start_;
  double width_;
  LONG done_ = 0;
  double max_ = -HUGE_VAL;
  double min_ = HUGE_VAL;
  bool has_data_ = false;
};

// One normset of the group as the display reads it.
struct Normset {
  LONG index = 0;
  double start = 0.0;
  double step = 0.0;
  LONG length = 0;

  double TimeOf(int64_t sample) const { return start + static_cast<double>(sample) * step; }
};

HRESULT ReadNormset(IHNorm* normset, Normset* view) {
  HRESULT hr;
  if (FAILED(hr = normset->get_Index(&view->index))) return hr;
  if (FAILED(hr = normset->get_StartTime(&view->start))) return hr;
  if (FAILED(hr = normset->get_XStep(&view->step))) return hr;
  return normset->get_Length(&view->length);
}

// Scaled values (reduction 1) or pairs (reduction >= 2) of one channel of
// one normset, in blocks, from 0-based sample `next` on.
class Reader {
 public:
  Reader(IChannelGroup* group, SAFEARRAY** channel, const Normset& normset, LONG reduction,
         int64_t first)
      : group_(group), channel_(channel), normset_(normset), reduction_(reduction), next_(first) {}

  // The next value (high = low for reduction 1) and the 0-based number of
  // its first sample; false at the normset's end or when a read fails or
  // delivers nothing (status() tells which).
  bool Next(double* high, double* low, int64_t* sample) {
    if (at_ >= count_ && !Fill()) return false;
    const double* v = values_ + at_ * width_;
    *high = v[0];
    *low = v[width_ - 1];
    *sample = block_first_ + static_cast<int64_t>(at_) * reduction_;
    ++at_;
    return true;
  }

  // True when the normset has no more samples (as opposed to a failed read).
  bool AtEnd() const { return at_ >= count_ && next_ >= normset_.length; }
  HRESULT status() const { return status_; }

 private:
  bool Fill() {
    if (next_ >= normset_.length) return false;
    const int64_t left = (normset_.length - next_ - 1) / reduction_ + 1;
    const LONG ask = static_cast<LONG>(std::min<int64_t>(left, kBlockValues));
    values_ = nullptr;
    count_ = at_ = 0;
    status_ = group_->GetScaledMuxData(channel_, normset_.index, static_cast<LONG>(next_ + 1), ask,
                                       reduction_, block_.put());
    if (FAILED(status_) || block_.get() == nullptr) return false;
    void* data = nullptr;
    if (FAILED(SafeArrayAccessData(block_.get(), &data))) return false;
    SafeArrayUnaccessData(block_.get());  // the array is ours until the next read
    LONG lower = 0;
    LONG upper = -1;
    SafeArrayGetLBound(block_.get(), SafeArrayGetDim(block_.get()), &lower);
    SafeArrayGetUBound(block_.get(), SafeArrayGetDim(block_.get()), &upper);
    width_ = reduction_ >= 2 ? 2 : 1;
    const int64_t frames = int64_t{upper} - lower + 1;
    if (frames < 1 || SafeArrayGetElemsize(block_.get()) != sizeof(double)) return false;
    values_ = static_cast<const double*>(data);
    count_ = static_cast<size_t>(frames);
    block_first_ = next_;
    next_ += frames * reduction_;
    return true;
  }

  IChannelGroup* group_;
  SAFEARRAY** channel_;
  const Normset& normset_;
  LONG reduction_;
  int64_t next_;
  int64_t block_first_ = 0;
  SafeArrayHolder block_;
  const double* values_ = nullptr;
  size_t width_ = 1;
  size_t count_ = 0;
  size_t at_ = 0;
  HRESULT status_ = S_OK;
};

class Display {
 public:
  Display(IChannelGroup* group, SAFEARRAY** channel, IHNorms* normsets, Points* points, double end)
      : group_(group), channel_(channel), normsets_(normsets), points_(points), end_(end) {}

  // Runs the normset loop from `normset`, its first sample `first`; S_OK,
  // or the status that ended it.
  HRESULT Run(Normset normset, int64_t first, LONG normset_count, double width) {
    while (end_ >= normset.start && points_->left()) {
      LONG reduction = ClampToLong(width / normset.step) / 2;
      HRESULT hr = group_->GetBestReductionFactor(normset.index, &reduction);
      if (FAILED(hr)) return hr;
      if (reduction < 2 && width < normset.step) {
        hr = Interpolate(normset, first);
      } else {
        hr = Merge(normset, first, reduction < 2 ? 1 : reduction);
      }
      if (hr != S_OK) return hr;
      if (normset.index >= normset_count) return S_OK;
      ComPtr<IHNorm> next;
      if (FAILED(hr = normsets_->get_Item(normset.index + 1, next.put()))) return hr;
      if (!next) return S_OK;
      if (FAILED(hr = ReadNormset(next.get(), &normset))) return hr;
      first = 0;
    }
    return S_OK;
  }

 private:
  // The branches answer S_OK at the normset's end (go on with the next),
  // S_FALSE to end the call (points used up, or a read that delivered
  // nothing) and a failure to end it with that status.
  static HRESULT ReadEnded(const Reader& reader) {
    if (reader.AtEnd()) return S_OK;
    return FAILED(reader.status()) ? reader.status() : S_FALSE;
  }

  HRESULT Merge(const Normset& normset, int64_t first, LONG reduction) {
    Reader reader(group_, channel_, normset, reduction, first);
    double high = 0.0;
    double low = 0.0;
    int64_t sample = 0;
    while (points_->left()) {
      if (!reader.Next(&high, &low, &sample)) return ReadEnded(reader);
      points_->CloseBefore(normset.TimeOf(sample));
      if (!points_->left()) break;
      points_->Merge(high, low);
    }
    return S_FALSE;
  }

  HRESULT Interpolate(const Normset& normset, int64_t first) {
    double prev = VoidNumber();
    double prev_time = 0.0;
    double cur = 0.0;
    double unused = 0.0;
    int64_t sample = 0;
    if (first == 0 && normset.index > 1 && normset.TimeOf(0) > points_->time()) {
      LastSampleBefore(normset.index - 1, &prev, &prev_time);
    }
    Reader reader(group_, channel_, normset, 1, first);
    if (!reader.Next(&cur, &unused, &sample)) return ReadEnded(reader);
    double t = normset.TimeOf(sample);
    while (points_->left()) {
      const double p = points_->time();
      if (p > t) {
        prev = cur;
        prev_time = t;
        if (!reader.Next(&cur, &unused, &sample)) return ReadEnded(reader);
        t = normset.TimeOf(sample);
        continue;
      }
      if (!IsVoid(prev) && !IsVoid(cur)) {
        points_->Set(t - prev_time != 0.0 ? prev + (p - prev_time) * (cur - prev) / (t - prev_time)
                                          : cur);
      }
      points_->Close();
    }
    return S_FALSE;
  }

  // The last sample of normset `index` and its time; left void when it
  // cannot be read.
  void LastSampleBefore(LONG index, double* value, double* time) {
    ComPtr<IHNorm> previous;
    LONG length = 0;
    if (FAILED(normsets_->get_Item(index, previous.put())) || !previous ||
        FAILED(previous->get_Length(&length)) || length < 1) {
      return;
    }
    SafeArrayHolder one;
    if (FAILED(group_->GetScaledMuxData(channel_, index, length, 1, 1, one.put())) || !one.get()) {
      return;
    }
    LONG lower = 0;
    LONG upper = -1;
    SafeArrayGetLBound(one.get(), SafeArrayGetDim(one.get()), &lower);
    SafeArrayGetUBound(one.get(), SafeArrayGetDim(one.get()), &upper);
    void* data = nullptr;
    if (upper - lower + 1 != 1 || SafeArrayGetElemsize(one.get()) != sizeof(double) ||
        FAILED(SafeArrayAccessData(one.get(), &data))) {
      return;
    }
    *value = *static_cast<const double*>(data);
    SafeArrayUnaccessData(one.get());
    (void)previous->get_EndTime(time);
  }

  IChannelGroup* group_;
  SAFEARRAY** channel_;
  IHNorms* normsets_;
  Points* points_;
  double end_;
};

HRESULT DisplayData(IChannelGroup* group, IChannelInfo* channel, double start, double end,
                    LONG count, SAFEARRAY** result) {
  ComPtr<IHNorms> normsets;
  HRESULT hr = group->get_HNorms(normsets.put());
  if (FAILED(hr)) return hr;
  if (!normsets) return RaiseError(kMsgNoHorizontalNormsets, IID_IChannelGroup);
  LONG normset_count = 0;
  if (FAILED(hr = normsets->get_Count(&normset_count))) return hr;
  ComPtr<IHNorm> first_normset;
  if (FAILED(hr = normsets->GetFirstEndingAfter(start, first_normset.put()))) return hr;
  if (!first_normset) return RaiseError(kMsgInvalidNormsetIndex, IID_IChannelGroup);

  void* data = nullptr;
  SafeArrayHolder array(CreateArray(VT_R4, {2, static_cast<size_t>(count)}, 0, false, &data));
  if (array.get() == nullptr) return E_OUTOFMEMORY;
  const double width = (end - start) / (count - 1);
  Points points(static_cast<float*>(data), count, start, width);

  Normset normset;
  if (FAILED(hr = ReadNormset(first_normset.get(), &normset))) return hr;
  // The sample at or before the start; a start before the normset's first
  // sample (inside a gap) starts at that first sample.
  const double position = std::floor((start - normset.start) / normset.step);
  int64_t first = 0;
  if (position > 0.0) {
    first = position < normset.length ? static_cast<int64_t>(position) : normset.length;
  }

  SafeArrayHolder channels(SingleChannelVector(channel));
  if (channels.get() == nullptr) return E_OUTOFMEMORY;
  SAFEARRAY* list = channels.get();
  Display display(group, &list, normsets.get(), &points, end);
  hr = display.Run(normset, first, normset_count, width);
  points.Finish();
  if (points.done() < 1) return FAILED(hr) ? hr : S_OK;
  if (points.done() < count &&
      FAILED(hr = ShrinkLastDimension(array.get(), static_cast<size_t>(points.done())))) {
    return hr;
  }
  *result = array.release();
  return S_OK;
}

}  // namespace
}  // namespace mlr::api

MLR_API HRESULT STDAPICALLTYPE GetDisplayData(IChannelGroup* ChGrp, IChannelInfo* ChInfo,
                                              double StartTime, double EndTime, LONG Count,
                                              SAFEARRAY** Result) {
  if (Result == nullptr) return E_POINTER;
  *Result = nullptr;
  if (StartTime > EndTime || Count < 2 || ChGrp == nullptr || ChInfo == nullptr) {
    return E_INVALIDARG;
  }
  try {
    return mlr::api::DisplayData(ChGrp, ChInfo, StartTime, EndTime, Count, Result);
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}
