// The input side of a group resampler: blocks of a channel group's scaled
// frames, read one after the other through time.
//
// A block holds `frames` consecutive frames of one horizontal normset,
// `width` doubles per frame (channel fastest): the group's analog channels
// first, as scaled values, then its event channels, each carrying its 16-bit
// word in the two lowest-addressed bytes of the slot. An analog value the
// source could not give (an absent sample) is a NaN: the source turns every
// invalid input value into NaN before handing the block out, so that the
// interpolation needs one test only.
//
// Frame j of the block lies at normset_start + (first_frame + j) * step, and
// the normset's last frame at normset_start + (normset_length - 1) * step.
// Times are computed from the frame number, never accumulated, so that a
// long run does not drift off the output grid.
//
// Ownership: `values` belongs to the source and stays valid until the next
// call of Next() or the source's destruction. A source is used by one thread
// at a time.
#pragma once

#include <cstdint>

namespace mlr::resampler {

struct FrameBlock {
  const double* values = nullptr;
  int32_t frames = 0;
  double normset_start = 0.0;
  double step = 0.0;
  int64_t first_frame = 0;  // 0-based position of frame 0 within the normset
  int64_t normset_length = 0;

  double TimeOf(int64_t frame) const {
    return normset_start + static_cast<double>(first_frame + frame) * step;
  }
  double NormsetEnd() const {
    return normset_start + static_cast<double>(normset_length - 1) * step;
  }
};

class FrameSource {
 public:
  virtual ~FrameSource() = default;
  // Hands out the next block (frames >= 1) in *block, or returns false at the
  // end of the data (also after a failed read: the data end there).
  virtual bool Next(FrameBlock* block) = 0;
};

}  // namespace mlr::resampler
