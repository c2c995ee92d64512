#include "tests/resampler/resampler_fixture.h"

#include <gtest/gtest.h>

#include "resampler/channel_resampler.h"

namespace mlr::resampler::test {

std::atomic<int> g_pauses{0};
std::atomic<int> g_pause_ms{0};

namespace {

void CountPause(DWORD milliseconds) {
  ++g_pauses;
  g_pause_ms = static_cast<int>(milliseconds);
}

// The values of a result array, row by row (first dimension fastest).
template <class T>
void AppendRows(SAFEARRAY* array, LONG items, std::vector<std::vector<T>>* rows) {
  if (!array) return;
  const std::vector<std::pair<LONG, LONG>> shape = Shape(array);
  const LONG width = shape.size() == 2 ? shape[0].second : 1;
  void* data = nullptr;
  ASSERT_EQ(SafeArrayAccessData(array, &data), S_OK);
  const T* values = static_cast<const T*>(data);
  for (LONG i = 0; i < items; ++i) rows->emplace_back(values + i * width, values + (i + 1) * width);
  SafeArrayUnaccessData(array);
}

}  // namespace

model::MemoryGroupSpec MakeGroup(int32_t analog, int32_t events,
                                 const std::vector<SegmentSpec>& segments,
                                 const std::function<int16_t(int32_t, int32_t)>& raw, double y0,
                                 double y_step) {
  model::MemoryGroupSpec group;
  const int32_t width = analog + events;
  for (int32_t c = 0; c < width; ++c) {
    model::MemoryChannelSpec channel;
    channel.name = (c < analog ? u"A" : u"E") + std::u16string(1, char16_t(u'0' + c));
    channel.event = c >= analog;
    channel.vnorms.push_back({y0, y_step, 0.0});
    group.channels.push_back(channel);
  }
  int32_t frame = 0;
  for (const SegmentSpec& s : segments) {
    model::MemorySegment segment;
    segment.start_time = s.start;
    segment.x_step = s.step;
    for (int32_t f = 0; f < s.length; ++f, ++frame) {
      for (int32_t c = 0; c < width; ++c) segment.frames.push_back(raw(frame, c));
    }
    group.segments.push_back(segment);
  }
  return group;
}

ComPtr<IChannelResampler> MakeResampler(double start, double end, double step) {
  ComPtr<IChannelResampler> resampler;
  EXPECT_EQ(CChannelResampler::CreateInstance(nullptr, IID_IChannelResampler,
                                              resampler.put_void(), &CountPause),
            S_OK);
  resampler->put_StartTime(start);
  resampler->put_EndTime(end);
  resampler->put_XStep(step);
  return resampler;
}

HRESULT Start(IChannelResampler* resampler, const std::vector<ComPtr<IChannelInfo>>& channels) {
  std::vector<IChannelInfo*> list;
  for (const ComPtr<IChannelInfo>& channel : channels) list.push_back(channel.get());
  SAFEARRAY* array = reader::test::ChannelList(list);
  const HRESULT hr = resampler->Start(&array);
  SafeArrayDestroy(array);
  return hr;
}

Items Collect(IChannelResampler* resampler) {
  Items run;
  for (;;) {
    LONG n = -1;
    SAFEARRAY* analog = nullptr;
    SAFEARRAY* events = nullptr;
    run.hr = resampler->GetNextMuxDataBuffer(&n, &analog, &events);
    if (FAILED(run.hr) || n == 0) {
      EXPECT_EQ(analog, nullptr);
      EXPECT_EQ(events, nullptr);
      return run;
    }
    run.buffers.push_back(n);
    AppendRows(analog, n, &run.analog);
    AppendRows(events, n, &run.events);
    SafeArrayDestroy(analog);
    SafeArrayDestroy(events);
  }
}

std::vector<std::pair<LONG, LONG>> Shape(SAFEARRAY* array) {
  std::vector<std::pair<LONG, LONG>> shape;
  for (UINT d = 1; array && d <= SafeArrayGetDim(array); ++d) {
    LONG lower = 0, upper = -1;
    SafeArrayGetLBound(array, d, &lower);
    SafeArrayGetUBound(array, d, &upper);
    shape.emplace_back(lower, upper - lower + 1);
  }
  return shape;
}

}  // namespace mlr::resampler::test
