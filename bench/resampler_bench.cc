// The channel resampler on 4 groups of 8 analog channels at 1, 2, 5 and
// 10 kHz, resampled onto a 1 kHz grid (8192 items per buffer):
//   BM_BufferCompute  the compute time of one full buffer (the batch pause
//                     replaced by nothing), also as a share of the 50 ms
//                     pause that follows each batch (goal: at most 5 %).
//                     "Time" is the wall time (the groups run on worker
//                     threads, so on an idle machine with two cores or more
//                     it is less than the work done), "CPU" the time of all
//                     the process's threads together: on a loaded machine
//                     the wall time waits for the scheduler, while the CPU
//                     time still says what the buffer costs;
//   BM_LongRun        items per second of a run of 20 buffers, with the real
//                     pause (what a client gets) and without it (compute).
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "LegacyRecording.h"
#include "model/memory_recording.h"
#include "platform/com_ptr.h"
#include "resampler/channel_resampler.h"

namespace {

using mlr::ComPtr;

constexpr double kSeconds = 20 * 8.192 + 1;  // 20 buffers at 1 kHz, and a little more
constexpr double kRates[] = {1000.0, 2000.0, 5000.0, 10000.0};

const ComPtr<IRecording>& Recording() {
  static const ComPtr<IRecording> recording = [] {
    mlr::model::MemoryRecordingSpec spec;
    for (double rate : kRates) {
      mlr::model::MemoryGroupSpec group;
      for (int c = 0; c < 8; ++c) {
        mlr::model::MemoryChannelSpec channel;
        channel.name = u"C";
        channel.vnorms.push_back({0.5, 0.001, 0.0});
        group.channels.push_back(channel);
      }
      mlr::model::MemorySegment segment;
      segment.x_step = 1.0 / rate;
      const size_t frames = static_cast<size_t>(kSeconds * rate);
      segment.frames.resize(frames * 8);
      for (size_t f = 0; f < frames; ++f) {
        for (size_t c = 0; c < 8; ++c) {
          segment.frames[f * 8 + c] = static_cast<int16_t>(10000 * std::sin(0.001 * f + c));
        }
      }
      group.segments.push_back(std::move(segment));
      spec.groups.push_back(std::move(group));
    }
    ComPtr<IRecording> r;
    mlr::model::CreateMemoryRecording(spec, r.put());
    return r;
  }();
  return recording;
}

void NoPause(DWORD) {}

ComPtr<IChannelResampler> Started(CChannelResampler::PauseFunction pause, double seconds) {
  ComPtr<IChannelResampler> r;
  CChannelResampler::CreateInstance(nullptr, IID_IChannelResampler, r.put_void(), pause);
  r->put_StartTime(0.0);
  r->put_EndTime(seconds);
  r->put_XStep(0.001);
  ComPtr<IChannelGroups> groups;
  Recording()->get_ChannelGroups(groups.put());
  SAFEARRAY* list = SafeArrayCreateVector(VT_DISPATCH, 0, 32);
  for (LONG g = 1, i = 0; g <= 4; ++g) {
    ComPtr<IChannelGroup> group;
    ComPtr<IChannelInfos> infos;
    groups->get_Item(g, group.put());
    group->get_ChannelInfos(infos.put());
    for (LONG c = 1; c <= 8; ++c, ++i) {
      ComPtr<IChannelInfo> info;
      infos->get_Item(c, info.put());
      SafeArrayPutElement(list, &i, static_cast<IDispatch*>(info.get()));
    }
  }
  r->Start(&list);
  SafeArrayDestroy(list);
  return r;
}

// Returns the items of one buffer call.
LONG Buffer(IChannelResampler* r) {
  LONG n = 0;
  SAFEARRAY* analog = nullptr;
  SAFEARRAY* events = nullptr;
  r->GetNextMuxDataBuffer(&n, &analog, &events);
  SafeArrayDestroy(analog);
  SafeArrayDestroy(events);
  return n;
}

void BM_BufferCompute(benchmark::State& state) {
  ComPtr<IChannelResampler> r = Started(&NoPause, kSeconds - 1);
  int64_t items = 0;
  for (auto _ : state) {
    LONG n = Buffer(r.get());
    if (n < 8192) {  // the run is used up: start again (not timed)
      state.PauseTiming();
      r = Started(&NoPause, kSeconds - 1);
      state.ResumeTiming();
      n = Buffer(r.get());
    }
    items += n;
  }
  state.SetItemsProcessed(items);
  // Per buffer time / 50 ms.
  state.counters["share_of_50ms_pause"] = benchmark::Counter(
      static_cast<double>(state.iterations()) * 0.050,
      benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_BufferCompute)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime();

void BM_LongRun(benchmark::State& state) {
  const bool pause = state.range(0) != 0;
  int64_t items = 0;
  for (auto _ : state) {
    ComPtr<IChannelResampler> r =
        Started(pause ? nullptr : &NoPause, 20 * 8.192 - 0.001);  // 20 full buffers
    for (LONG n; (n = Buffer(r.get())) > 0;) items += n;
  }
  state.SetItemsProcessed(items);
  state.SetLabel(pause ? "with the 50 ms pause" : "compute only");
}
BENCHMARK(BM_LongRun)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(2);

}  // namespace

BENCHMARK_MAIN();
