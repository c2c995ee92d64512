#include "resampler/group_reader.h"

#include <cmath>
#include <limits>
#include <new>
#include <vector>

namespace mlr::resampler {
namespace {

// Frames of a vertical normset from time t on: floor((end - t) / step + 0.1),
// as the scaling itself counts them, limited to 1..left.
int32_t RunLength(double end, double t, double step, int32_t left) {
  const double run = std::floor((end - t) / step + 0.1);
  if (!(run >= 1.0)) return 1;
  if (run >= static_cast<double>(left)) return left;
  return static_cast<int32_t>(run);
}

}  // namespace

GroupReader::GroupReader(IChannelGroup* group, const std::vector<ComPtr<IChannelInfo>>& channels,
                         int32_t analog)
    : group_(group), width_(static_cast<int32_t>(channels.size())), analog_(analog) {
  channel_list_ = SafeArrayCreateVector(VT_DISPATCH, 0, static_cast<ULONG>(channels.size()));
  if (!channel_list_) throw std::bad_alloc();
  for (LONG i = 0; i < width_; ++i) {
    IDispatch* element = channels[static_cast<size_t>(i)].get();
    if (FAILED(SafeArrayPutElement(channel_list_, &i, element))) {
      SafeArrayDestroy(channel_list_);
      throw std::bad_alloc();
    }
  }
  vnorms_.resize(static_cast<size_t>(analog));
  for (int32_t c = 0; c < analog; ++c) {
    channels[static_cast<size_t>(c)]->get_VNorms(vnorms_[static_cast<size_t>(c)].put());
  }
  if (group_) group_->get_HNorms(hnorms_.put());
}

GroupReader::~GroupReader() {
  ReleaseBlock();
  SafeArrayDestroy(channel_list_);
}

void GroupReader::ReleaseBlock() {
  if (block_) {
    SafeArrayUnaccessData(block_);
    SafeArrayDestroy(block_);
    block_ = nullptr;
  }
}

bool GroupReader::LoadNormset(IHNorm* normset) {
  index_ = -1;
  if (!normset) return false;
  LONG index = -1;
  normset->get_Index(&index);
  normset->get_StartTime(&start_);
  normset->get_XStep(&step_);
  normset->get_Length(&length_);
  index_ = index;
  return index_ >= 1;
}

bool GroupReader::LoadNormsetByIndex(LONG index) {
  ComPtr<IHNorm> normset;
  if (hnorms_) hnorms_->get_Item(index, normset.put());
  return LoadNormset(normset.get());
}

void GroupReader::Seek(double time) {
  ReleaseBlock();
  index_ = -1;
  position_ = 0;
  block_frames_ = 0;
  if (!hnorms_) return;
  ComPtr<IHNorm> normset;
  hnorms_->GetLastStartingBefore(time, normset.put());
  if (!normset) hnorms_->GetFirstEndingAfter(time, normset.put());
  if (!LoadNormset(normset.get())) return;
  const double length = static_cast<double>(length_);
  double position = 0.0;
  if (time < start_) {
    position = 0.0;
  } else if (time <= start_ + length * step_) {
    position = std::trunc((time - start_) / step_);
    if (!(position >= 0.0)) position = 0.0;
    if (position > length) position = length;
  } else {
    position = length - 1.0;
  }
  position_ = position >= 0.0 ? static_cast<LONG>(position) : 0;
}

// The scan goes frame by frame over contiguous values, in stretches where
// no analog channel changes its vertical normset. A value with the void high
// word is a NaN, so the NaN test covers it.
void GroupReader::MarkInvalid(double* values, int32_t frames, int32_t width) const {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const size_t analog = static_cast<size_t>(analog_);
  std::vector<double> absent(analog, nan);  // a NaN matches nothing
  std::vector<int32_t> until(analog, 0);   // the frame where the channel's normset ends
  int32_t i = 0;
  while (i < frames) {
    int32_t stretch_end = frames;
    for (size_t c = 0; c < analog; ++c) {
      if (until[c] <= i) {
        const double t = start_ + static_cast<double>(position_ + i) * step_;
        absent[c] = nan;
        until[c] = frames;
        ComPtr<IVNorm> vnorm;
        if (IVNorms* vnorms = vnorms_[c].get()) vnorms->GetFromTime(t, vnorm.put());
        if (vnorm) {
          double y0 = 0.0, y_step = 0.0, end = 0.0;
          vnorm->get_Y0(&y0);
          vnorm->get_YStep(&y_step);
          vnorm->get_EndTime(&end);
          if (y_step != 0.0) {
            const double product = -32768.0 * y_step;  // two roundings, as the scaling
            absent[c] = product + y0;
          }
          until[c] = i + RunLength(end, t, step_, frames - i);
        }
      }
      if (until[c] < stretch_end) stretch_end = until[c];
    }
    const double* absent_of = absent.data();
    for (int32_t j = i; j < stretch_end; ++j) {
      double* row = values + static_cast<size_t>(j) * static_cast<size_t>(width);
      for (size_t c = 0; c < analog; ++c) {
        const double v = row[c];
        row[c] = (v == absent_of[c] || std::isnan(v)) ? nan : v;
      }
    }
    i = stretch_end;
  }
}

bool GroupReader::Next(FrameBlock* block) {
  ReleaseBlock();
  if (index_ < 1) return false;
  position_ += block_frames_;  // a block is read again only when used up
  block_frames_ = 0;
  while (length_ - position_ < 1) {
    if (!LoadNormsetByIndex(index_ + 1)) return false;
    position_ = 0;
  }
  const LONG wanted = length_ - position_ < kMaxBlockFrames ? length_ - position_ : kMaxBlockFrames;
  SAFEARRAY* result = nullptr;
  HRESULT hr = group_->GetScaledMuxData(&channel_list_, index_, position_ + 1, wanted, 1, &result);
  if (FAILED(hr) || !result) {
    if (result) SafeArrayDestroy(result);
    index_ = -1;
    return false;
  }
  block_ = result;
  const UINT dims = SafeArrayGetDim(result);
  LONG lower = 0, upper = -1, lower1 = 0, upper1 = -1;
  SafeArrayGetLBound(result, dims, &lower);
  SafeArrayGetUBound(result, dims, &upper);
  if (dims == 2) {
    SafeArrayGetLBound(result, 1, &lower1);
    SafeArrayGetUBound(result, 1, &upper1);
  }
  const LONG width = dims == 2 ? upper1 - lower1 + 1 : 1;
  LONG frames = upper >= lower ? upper - lower + 1 : 0;
  if (frames > wanted) frames = wanted;
  VARTYPE vt = VT_EMPTY;
  void* data = nullptr;
  if (frames < 1 || dims < 1 || dims > 2 || width != width_ ||
      FAILED(SafeArrayGetVartype(result, &vt)) || vt != VT_R8 ||
      FAILED(SafeArrayAccessData(result, &data))) {
    SafeArrayDestroy(result);
    block_ = nullptr;
    index_ = -1;
    return false;
  }
  double* values = static_cast<double*>(data);
  MarkInvalid(values, frames, width_);
  block_frames_ = frames;
  block->values = values;
  block->frames = frames;
  block->normset_start = start_;
  block->step = step_;
  block->first_frame = position_;
  block->normset_length = length_;
  return true;
}

}  // namespace mlr::resampler
