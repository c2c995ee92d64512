// Helpers of the resampler's object tests: in-memory recordings (made and
// read through the reader fixture's MakeMemoryRecording and Channel),
// resamplers that count their pauses instead of sleeping, and a run
// collected buffer by buffer.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "LegacyRecording.h"
#include "model/memory_recording.h"
#include "platform/com_ptr.h"
#include "platform/win.h"
#include "tests/reader/reader_fixture.h"

namespace mlr::resampler::test {

// Pauses of every resampler made by MakeResampler, and their lengths (ms).
extern std::atomic<int> g_pauses;
extern std::atomic<int> g_pause_ms;

// A group of analog channels (one vertical normset Y0 `y0`, YStep `y_step`
// each) and event channels after them, one segment per (start, step,
// length); raw(frame, channel) gives each sample.
struct SegmentSpec {
  double start;
  double step;
  int32_t length;
};
model::MemoryGroupSpec MakeGroup(int32_t analog, int32_t events,
                                 const std::vector<SegmentSpec>& segments,
                                 const std::function<int16_t(int32_t frame, int32_t ch)>& raw,
                                 double y0 = 0.0, double y_step = 1.0);

using reader::test::Channel;
using reader::test::MakeMemoryRecording;

// A resampler whose batch pause counts into g_pauses instead of sleeping.
ComPtr<IChannelResampler> MakeResampler(double start, double end, double step);

// HRESULT of Start with these channels.
HRESULT Start(IChannelResampler* resampler, const std::vector<ComPtr<IChannelInfo>>& channels);

// Every item of a run through GetNextMuxDataBuffer: analog[item][column],
// events[item][column]; the item count of each buffer in `buffers`.
struct Items {
  HRESULT hr = S_OK;
  std::vector<std::vector<float>> analog;
  std::vector<std::vector<int16_t>> events;
  std::vector<LONG> buffers;
};
Items Collect(IChannelResampler* resampler);

// Dimensions of a result array: per dimension (lower bound, count).
std::vector<std::pair<LONG, LONG>> Shape(SAFEARRAY* array);

}  // namespace mlr::resampler::test
