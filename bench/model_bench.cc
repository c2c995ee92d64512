// Object-model costs that scale with collection sizes: the normset
// bisection searches, enumerator snapshots and the in-memory recording's
// GetMuxData (against a plain strided copy of the same samples).
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "LegacyRecording.h"
#include "model/memory_recording.h"
#include "platform/com_ptr.h"

namespace {

using mlr::ComPtr;
using mlr::model::MemoryGroupSpec;
using mlr::model::MemoryRecordingSpec;

ComPtr<IRecording> RecordingWithSegments(LONG segments, LONG channels, LONG frames) {
  MemoryRecordingSpec spec;
  MemoryGroupSpec group;
  for (LONG c = 0; c < channels; ++c) {
    mlr::model::MemoryChannelSpec channel;
    channel.name = u"C";
    channel.vnorms.push_back({0.0, 1.0, 0.0});
    group.channels.push_back(channel);
  }
  for (LONG s = 0; s < segments; ++s) {
    mlr::model::MemorySegment segment;
    segment.start_time = 10.0 * s;
    segment.x_step = 0.001;
    segment.frames.assign(static_cast<size_t>(frames) * static_cast<size_t>(channels),
                          static_cast<int16_t>(s));
    group.segments.push_back(std::move(segment));
  }
  spec.groups.push_back(std::move(group));
  ComPtr<IRecording> recording;
  mlr::model::CreateMemoryRecording(spec, recording.put());
  return recording;
}

ComPtr<IChannelGroup> FirstGroup(IRecording* recording) {
  ComPtr<IChannelGroups> groups;
  ComPtr<IChannelGroup> group;
  recording->get_ChannelGroups(groups.put());
  groups->get_Item(1, group.put());
  return group;
}

void BM_HNormsFirstEndingAfter(benchmark::State& state) {
  const LONG n = static_cast<LONG>(state.range(0));
  ComPtr<IRecording> recording = RecordingWithSegments(n, 1, 2);
  ComPtr<IHNorms> hnorms;
  FirstGroup(recording.get())->get_HNorms(hnorms.put());
  double t = 0.0;
  for (auto _ : state) {
    ComPtr<IHNorm> found;
    hnorms->GetFirstEndingAfter(t, found.put());
    benchmark::DoNotOptimize(found.get());
    t += 10.0;
    if (t > 10.0 * n) t = 0.0;
  }
}
BENCHMARK(BM_HNormsFirstEndingAfter)->Arg(16)->Arg(1024)->Arg(65536);

void BM_HNormsNewEnum(benchmark::State& state) {
  const LONG n = static_cast<LONG>(state.range(0));
  ComPtr<IRecording> recording = RecordingWithSegments(n, 1, 2);
  ComPtr<IHNorms> hnorms;
  FirstGroup(recording.get())->get_HNorms(hnorms.put());
  for (auto _ : state) {
    ComPtr<IUnknown> e;
    hnorms->get__NewEnum(e.put());
    benchmark::DoNotOptimize(e.get());
  }
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_HNormsNewEnum)->Arg(16)->Arg(1024);

// One channel of eight, 65536 frames: GetMuxData against a strided copy.
void BM_MemoryGetMuxData(benchmark::State& state) {
  constexpr LONG kChannels = 8;
  constexpr LONG kFrames = 65536;
  ComPtr<IRecording> recording = RecordingWithSegments(1, kChannels, kFrames);
  ComPtr<IChannelGroup> group = FirstGroup(recording.get());
  ComPtr<IChannelInfos> channels;
  group->get_ChannelInfos(channels.put());
  ComPtr<IChannelInfo> channel;
  channels->get_Item(3, channel.put());
  SAFEARRAY* request = SafeArrayCreateVector(VT_DISPATCH, 0, 1);
  LONG zero = 0;
  SafeArrayPutElement(request, &zero, static_cast<IDispatch*>(channel.get()));
  for (auto _ : state) {
    SAFEARRAY* result = nullptr;
    group->GetMuxData(&request, 1, 1, kFrames, 1, &result);
    SafeArrayDestroy(result);
  }
  SafeArrayDestroy(request);
  state.SetBytesProcessed(state.iterations() * kFrames * 2);
}
BENCHMARK(BM_MemoryGetMuxData);

void BM_StridedCopyBaseline(benchmark::State& state) {
  constexpr size_t kChannels = 8;
  constexpr size_t kFrames = 65536;
  std::vector<int16_t> frames(kChannels * kFrames, 1);
  for (auto _ : state) {
    std::vector<int16_t> out(kFrames);
    for (size_t f = 0; f < kFrames; ++f) out[f] = frames[f * kChannels + 3];
    benchmark::DoNotOptimize(out.data());
  }
  state.SetBytesProcessed(state.iterations() * kFrames * 2);
}
BENCHMARK(BM_StridedCopyBaseline);

}  // namespace

BENCHMARK_MAIN();
