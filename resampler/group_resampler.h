// CGroupResampler: the part of a channel resampler that serves one channel
// group. It collects the group's channels given to Start (analog and event
// channels in two lists, each in the order given), then reads the group's
// frames (GroupReader) and resamples them onto the output grid
// (GroupInterpolator), a buffer's worth at a time.
//
// Lifecycle: AddChannel for each channel, Begin once, then Produce for each
// buffer. Produce runs on a worker thread; the object is used by one thread
// at a time and the channel resampler hands it over only across thread start
// and join.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "LegacyRecording.h"
#include "platform/com_ptr.h"
#include "platform/win.h"
#include "resampler/group_interpolator.h"
#include "resampler/group_reader.h"

namespace mlr::resampler {

class CGroupResampler {
 public:
  // `identity`: the group's IUnknown, by which channels are matched to it.
  CGroupResampler(IChannelGroup* group, IUnknown* identity);

  IUnknown* identity() const { return identity_.get(); }

  // Adds a channel of this group; returns its column among the group's
  // analog or event channels. Throws std::bad_alloc.
  int32_t AddChannel(IChannelInfo* channel, bool event);

  // Seeks the group to `start_time`; items follow every `x_step` seconds,
  // `invalid_value` stands for samples that cannot be given. Throws
  // std::bad_alloc.
  void Begin(double start_time, double x_step, double invalid_value);

  // The next up to n items into analog (n x analog_count floats) and events
  // (n x event_count words); returns the count produced.
  int32_t Produce(int32_t n, float* analog, int16_t* events);

  int32_t analog_count() const { return static_cast<int32_t>(analog_.size()); }
  int32_t event_count() const { return static_cast<int32_t>(events_.size()); }

 private:
  ComPtr<IChannelGroup> group_;
  ComPtr<IUnknown> identity_;
  std::vector<ComPtr<IChannelInfo>> analog_;
  std::vector<ComPtr<IChannelInfo>> events_;
  std::unique_ptr<GroupReader> reader_;
  std::unique_ptr<GroupInterpolator> interpolator_;
};

}  // namespace mlr::resampler
