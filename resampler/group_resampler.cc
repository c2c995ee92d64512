#include "resampler/group_resampler.h"

namespace mlr::resampler {

CGroupResampler::CGroupResampler(IChannelGroup* group, IUnknown* identity)
    : group_(group), identity_(identity) {}

int32_t CGroupResampler::AddChannel(IChannelInfo* channel, bool event) {
  std::vector<ComPtr<IChannelInfo>>& list = event ? events_ : analog_;
  list.emplace_back(channel);
  return static_cast<int32_t>(list.size()) - 1;
}

void CGroupResampler::Begin(double start_time, double x_step, double invalid_value) {
  std::vector<ComPtr<IChannelInfo>> frame_order = analog_;
  frame_order.insert(frame_order.end(), events_.begin(), events_.end());
  reader_ = std::make_unique<GroupReader>(group_.get(), frame_order, analog_count());
  reader_->Seek(start_time);
  interpolator_ = std::make_unique<GroupInterpolator>(analog_count(), event_count(), start_time,
                                                      x_step, invalid_value);
}

int32_t CGroupResampler::Produce(int32_t n, float* analog, int16_t* events) {
  if (!reader_ || !interpolator_) return 0;
  return interpolator_->Produce(*reader_, n, analog, events);
}

}  // namespace mlr::resampler
