// The resampling of one channel group onto the output grid: frames of the
// group (from a FrameSource) in, items at start + k * step out.
//
// For each output time the interpolator looks at the current input frame,
// d = frame time - output time:
//   |d| <= 1e-9 s  the frame lies on the output time: the item takes the
//                  frame's values; frame and output both advance.
//   d < -1e-9 s    the frame lies before the output time: it is consumed,
//                  its valid analog values remembered as the previous ones.
//   d > 1e-9 s     the output time lies between the previous frame and this
//                  one: analog channels are interpolated linearly between
//                  the previous valid value and this frame's value (this
//                  frame's value alone when there is no previous valid one);
//                  event channels take this frame's word (the next sample,
//                  never the nearest); only the output advances.
// An invalid (NaN) analog input gives the invalid sample value and forgets
// the previous value. When the data end after frames that lay before the
// output time, one final item holds the last values (events 0); after that
// the group produces nothing more. A group without any data produces
// nothing.
//
// Output times are start + k * step for item k, and input times come from
// the frame number (FrameBlock), so no error accumulates over a long run.
// One pass over a block never goes past the end of the block's normset, and
// every pass consumes a frame or emits an item, so Produce always ends.
//
// Threading: one thread at a time (the worker that runs the group).
#pragma once

#include <cstdint>
#include <vector>

#include "resampler/frame_source.h"

namespace mlr::resampler {

class GroupInterpolator {
 public:
  // `analog` and `events`: the channel counts of a frame (analog first).
  GroupInterpolator(int32_t analog, int32_t events, double start_time, double x_step,
                    double invalid_value);

  // Produces up to `n` items: item i's analog values at analog[i * analog
  // count ...], event words at events[i * event count ...]. Returns the
  // count produced; fewer than n only when the data have ended.
  int32_t Produce(FrameSource& source, int32_t n, float* analog, int16_t* events);

  int32_t analog_count() const { return analog_; }
  int32_t event_count() const { return events_; }

 private:
  void EmitOnFrame(const double* frame, float* analog, int16_t* events);
  void EmitBetween(const double* frame, double frame_time, double d, float* analog,
                   int16_t* events);
  void EmitFinal(float* analog, int16_t* events);
  void RememberFrame(const double* frame, double frame_time);

  int32_t analog_;
  int32_t events_;
  int32_t width_;
  double start_time_;
  double x_step_;
  float invalid_;
  int64_t item_ = 0;  // items produced since the start: the next output time's k
  FrameBlock block_;
  int32_t used_ = 0;  // frames of block_ consumed
  bool ended_ = false;
  bool last_item_emitted_ = true;  // nothing pending before the first frame
  // The analog values of the frame remembered last, NaN where there is no
  // valid previous value, and that frame's time.
  std::vector<double> previous_;
  double previous_time_ = 0.0;
};

}  // namespace mlr::resampler
