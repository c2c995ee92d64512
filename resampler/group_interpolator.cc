#include "resampler/group_interpolator.h"

#include <cfloat>
#include <cmath>
#include <cstring>
#include <limits>

namespace mlr::resampler {
namespace {

constexpr double kSameTime = 1e-9;  // seconds: frame and output coincide

// Doubles beyond the float range become infinities of their sign (a plain
// conversion of them is undefined).
float ToFloat(double value) {
  if (value > FLT_MAX) return HUGE_VALF;
  if (value < -FLT_MAX) return -HUGE_VALF;
  return static_cast<float>(value);
}

int16_t EventWord(double slot) {
  int16_t word;
  std::memcpy(&word, &slot, sizeof word);
  return word;
}

}  // namespace

GroupInterpolator::GroupInterpolator(int32_t analog, int32_t events, double start_time,
                                     double x_step, double invalid_value)
    : analog_(analog),
      events_(events),
      width_(analog + events),
      start_time_(start_time),
      x_step_(x_step),
      invalid_(ToFloat(invalid_value)),
      previous_(static_cast<size_t>(analog), std::numeric_limits<double>::quiet_NaN()) {}

// A frame's value, NaN or not, becomes the previous one, so that a NaN
// forgets what came before.
void GroupInterpolator::RememberFrame(const double* frame, double frame_time) {
  double* previous = previous_.data();
  for (int32_t c = 0; c < analog_; ++c) previous[c] = frame[c];
  previous_time_ = frame_time;
}

void GroupInterpolator::EmitOnFrame(const double* frame, float* analog, int16_t* events) {
  for (int32_t c = 0; c < analog_; ++c) {
    analog[c] = std::isnan(frame[c]) ? invalid_ : ToFloat(frame[c]);
  }
  for (int32_t e = 0; e < events_; ++e) events[e] = EventWord(frame[analog_ + e]);
}

void GroupInterpolator::EmitBetween(const double* frame, double frame_time, double d,
                                    float* analog, int16_t* events) {
  const double* previous = previous_.data();
  // Every valid previous value belongs to the frame remembered last.
  const double span = frame_time - previous_time_;
  const bool interpolate = span > 0.0;
  const double share = interpolate ? d / span : 0.0;
  // A NaN in this frame gives the invalid value; it becomes the previous
  // value when the frame is consumed, before any other frame is looked at.
  for (int32_t c = 0; c < analog_; ++c) {
    const double v = frame[c];
    const double p = previous[c];
    if (std::isnan(v)) {
      analog[c] = invalid_;
    } else {
      analog[c] = ToFloat(interpolate && !std::isnan(p) ? v - share * (v - p) : v);
    }
  }
  for (int32_t e = 0; e < events_; ++e) events[e] = EventWord(frame[analog_ + e]);
}

void GroupInterpolator::EmitFinal(float* analog, int16_t* events) {
  for (int32_t c = 0; c < analog_; ++c) {
    analog[c] = std::isnan(previous_[c]) ? invalid_ : ToFloat(previous_[c]);
  }
  for (int32_t e = 0; e < events_; ++e) events[e] = 0;
}

int32_t GroupInterpolator::Produce(FrameSource& source, int32_t n, float* analog,
                                   int16_t* events) {
  int32_t produced = 0;
  auto analog_at = [&](int32_t item) { return analog + static_cast<size_t>(item) * analog_; };
  auto events_at = [&](int32_t item) { return events + static_cast<size_t>(item) * events_; };
  while (produced < n) {
    if (used_ >= block_.frames) {
      if (!ended_ && source.Next(&block_)) {
        used_ = 0;
        continue;
      }
      ended_ = true;
      block_ = FrameBlock();
      used_ = 0;
      if (!last_item_emitted_) {
        EmitFinal(analog_at(produced), events_at(produced));
        last_item_emitted_ = true;
        ++item_;
        ++produced;
      }
      break;
    }
    // Usable frames: the rest of the block, but never past the normset's end;
    // at least one, so that rounding cannot stall the pass.
    int32_t usable = block_.frames - used_;
    const double fit =
        std::trunc((block_.NormsetEnd() - block_.TimeOf(used_)) / block_.step + 1.0);
    if (fit < static_cast<double>(usable)) usable = fit >= 1.0 ? static_cast<int32_t>(fit) : 1;
    const int32_t pass_end = used_ + usable;
    while (used_ < pass_end && produced < n) {
      const double* frame = block_.values + static_cast<size_t>(used_) * width_;
      const double frame_time = block_.TimeOf(used_);
      const double output_time = start_time_ + static_cast<double>(item_) * x_step_;
      const double d = frame_time - output_time;
      if (d < -kSameTime) {
        // Every frame before the output time is consumed, but only the last
        // of them counts: remembering a frame replaces, channel by channel,
        // all that the frames before it left.
        ++used_;
        while (used_ < pass_end && block_.TimeOf(used_) - output_time < -kSameTime) ++used_;
        const int32_t last = used_ - 1;
        RememberFrame(block_.values + static_cast<size_t>(last) * width_, block_.TimeOf(last));
        last_item_emitted_ = false;
        continue;
      }
      if (d > kSameTime) {
        EmitBetween(frame, frame_time, d, analog_at(produced), events_at(produced));
      } else {
        EmitOnFrame(frame, analog_at(produced), events_at(produced));
        RememberFrame(frame, frame_time);
        ++used_;
      }
      last_item_emitted_ = true;
      ++item_;
      ++produced;
    }
  }
  return produced;
}

}  // namespace mlr::resampler
