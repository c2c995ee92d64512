// The data functions against the plain loops they must keep up with, side
// by side in one run:
//
//   ScaledMuxData            GetScaledMuxData of 8 analog channels, 1 Mi
//                            frames per call, from the in-memory recording;
//                            each result is destroyed before the next call,
//                            as a client reading block after block does
//   ScaledMuxDataOrdinaryStores the same with the result written through the
//                            caches, as results smaller than the last-level
//                            cache are
//   GroupGetMuxData          the group's own read of those frames in one call
//                            (GetScaledMuxData reads them in chunks instead)
//   PlainConversion          the same int16 block converted to double with one
//                            y0 + ystep * x per sample (vectorised), into a
//                            buffer kept between iterations
//   PlainConversionNewBuffer the same into a new buffer each time, whose pages
//                            the system supplies and clears on first touch
//   DisplayStored            GetDisplayData, 2000 points over 1e9 samples of a
//                            generated stream with a stored reduction (1000)
//   DisplayFullRate          the same group without a stored reduction: the
//                            display merges every sample
//   PlainMinMaxScan          a vectorised min/max scan of the same 1e9 samples
//
// Like with like: ScaledMuxData against PlainConversion. Both write 64 MiB of
// doubles into memory that is already mapped (the library keeps a destroyed
// large array's block for a while and hands it to the next array of about
// the same size, so a client's next result lands where the previous one
// was). What ScaledMuxData does beyond the plain loop is the reading any
// data function has to do: the group copies the frames out of its store
// (here memory, in a file the reader) into an array of its own, chunk by
// chunk, and the scaling reads them from there while they are in the cache.
// It wins that time back on the writing: its 64 MiB result is larger than
// the last-level cache, so it is written with streaming stores, which skip
// the read of each output line that the plain loop's ordinary stores make.
// PlainConversionNewBuffer shows what a result in fresh pages would cost.
//
// Measured side by side (Release, g++, 2-core AMD EPYC VM with a 32 MiB
// last-level cache, load average 0.2-1.4; medians of 5 repetitions, eleven
// runs): ScaledMuxData 1.95-2.27 ms against PlainConversion 2.09-2.42 ms,
// 0.99-1.19 x its speed (median 1.06); ScaledMuxDataOrdinaryStores
// 2.68-3.09 ms, 0.73-0.81 x (median 0.77: what every result cost before);
// GroupGetMuxData 0.47-0.53 ms. Of ScaledMuxData's time about 77 % is the
// scaling loop, 15 % the group's copy of the frames into its chunk arrays.
//
// Ratios to report: ScaledMuxData against PlainConversion (goal >= 0.8 of its
// speed), DisplayStored against PlainMinMaxScan (goal <= 1/20 of its time),
// DisplayFullRate against PlainMinMaxScan (goal >= 0.5 of its speed).
//
// The generated stream repeats a pattern of one million samples (and its
// thousand stored (max, min) pairs), so that a group of a billion samples
// needs no file; the scan walks the same pattern the same number of times.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "LegacyRecording.h"
#include "api/scaling.h"
#include "model/channel_group_impl.h"
#include "model/channel_info_impl.h"
#include "model/memory_recording.h"
#include "model/recording_impl.h"
#include "platform/com_ptr.h"
#include "platform/safearray_uninit.h"
#include "platform/win.h"

namespace {

using mlr::ComPtr;

// --- Scaled data ------------------------------------------------------------

constexpr size_t kChannels = 8;
constexpr LONG kFrames = 1 << 20;
constexpr double kY0 = -5.0;
constexpr double kYStep = 0.000152587890625;

struct ScaledFixture {
  ComPtr<IRecording> recording;
  ComPtr<IChannelGroup> group;
  SAFEARRAY* selection = nullptr;
  std::vector<int16_t> raw;  // the same frames, interleaved

  ScaledFixture() {
    mlr::model::MemoryRecordingSpec spec;
    mlr::model::MemoryGroupSpec group_spec;
    for (size_t c = 0; c < kChannels; ++c) {
      mlr::model::MemoryChannelSpec channel;
      channel.name = u"C";
      channel.vnorms = {{kY0, kYStep, 0.0}};
      group_spec.channels.push_back(channel);
    }
    mlr::model::MemorySegment segment;
    segment.x_step = 0.001;
    for (size_t i = 0; i < kFrames * kChannels; ++i) {
      segment.frames.push_back(static_cast<int16_t>((i * 2654435761u) >> 16));
    }
    raw = segment.frames;
    group_spec.segments.push_back(std::move(segment));
    spec.groups.push_back(std::move(group_spec));
    mlr::model::CreateMemoryRecording(spec, recording.put());
    ComPtr<IChannelGroups> groups;
    recording->get_ChannelGroups(groups.put());
    groups->get_Item(1, group.put());
    ComPtr<IChannelInfos> infos;
    group->get_ChannelInfos(infos.put());
    selection = SafeArrayCreateVector(VT_UNKNOWN, 0, kChannels);
    for (LONG c = 0; c < static_cast<LONG>(kChannels); ++c) {
      ComPtr<IChannelInfo> info;
      infos->get_Item(c + 1, info.put());
      SafeArrayPutElement(selection, &c, static_cast<IUnknown*>(info.get()));
    }
  }
  ~ScaledFixture() { SafeArrayDestroy(selection); }
};

ScaledFixture& Scaled() {
  static ScaledFixture fixture;
  return fixture;
}

void BM_ScaledMuxData(benchmark::State& state) {
  ScaledFixture& f = Scaled();
  for (auto _ : state) {
    SAFEARRAY* result = nullptr;
    if (GetScaledMuxData(f.group.get(), &f.selection, 1, 1, kFrames, 1, &result) != S_OK) {
      state.SkipWithError("GetScaledMuxData failed");
      break;
    }
    benchmark::DoNotOptimize(result);
    SafeArrayDestroy(result);
  }
  state.SetItemsProcessed(state.iterations() * kFrames * kChannels);
}
BENCHMARK(BM_ScaledMuxData)->Unit(benchmark::kMillisecond);

void BM_ScaledMuxDataOrdinaryStores(benchmark::State& state) {
  const size_t threshold = mlr::api::SetStreamingThresholdBytes(~size_t{0} - 1);
  BM_ScaledMuxData(state);
  mlr::api::SetStreamingThresholdBytes(threshold);
}
BENCHMARK(BM_ScaledMuxDataOrdinaryStores)->Unit(benchmark::kMillisecond);

// The plain loops below are compiled with -O3 (see CMakeLists.txt), which
// vectorises them as they stand.
// What the group's own read costs (part of ScaledMuxData).
void BM_GroupGetMuxData(benchmark::State& state) {
  ScaledFixture& f = Scaled();
  for (auto _ : state) {
    SAFEARRAY* result = nullptr;
    if (f.group->GetMuxData(&f.selection, 1, 1, kFrames, 1, &result) != S_OK) {
      state.SkipWithError("GetMuxData failed");
      break;
    }
    benchmark::DoNotOptimize(result);
    SafeArrayDestroy(result);
  }
  state.SetItemsProcessed(state.iterations() * kFrames * kChannels);
}
BENCHMARK(BM_GroupGetMuxData)->Unit(benchmark::kMillisecond);

void Convert(const int16_t* __restrict raw, double* __restrict out, size_t n) {
  for (size_t i = 0; i < n; ++i) out[i] = kY0 + kYStep * raw[i];
}

void MinMax(const int16_t* __restrict v, size_t n, int16_t* high, int16_t* low) {
  int16_t hi = *high;
  int16_t lo = *low;
  for (size_t i = 0; i < n; ++i) {
    hi = std::max(hi, v[i]);
    lo = std::min(lo, v[i]);
  }
  *high = hi;
  *low = lo;
}

void BM_PlainConversion(benchmark::State& state) {
  ScaledFixture& f = Scaled();
  std::vector<double> out(f.raw.size());
  for (auto _ : state) {
    Convert(f.raw.data(), out.data(), f.raw.size());
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kFrames * kChannels);
}
BENCHMARK(BM_PlainConversion)->Unit(benchmark::kMillisecond);

void BM_PlainConversionNewBuffer(benchmark::State& state) {
  ScaledFixture& f = Scaled();
  for (auto _ : state) {
    std::unique_ptr<double[]> out(new double[f.raw.size()]);
    Convert(f.raw.data(), out.get(), f.raw.size());
    benchmark::DoNotOptimize(out.get());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kFrames * kChannels);
}
BENCHMARK(BM_PlainConversionNewBuffer)->Unit(benchmark::kMillisecond);

// --- Display data over a generated stream -----------------------------------

constexpr LONG kPattern = 1000000;
constexpr LONG kStored = 1000;
constexpr LONG kSamples = 1000000000;
constexpr LONG kPoints = 2000;

const std::vector<int16_t>& Pattern() {
  static const std::vector<int16_t> pattern = [] {
    std::vector<int16_t> p(kPattern);
    for (LONG i = 0; i < kPattern; ++i) p[static_cast<size_t>(i)] = static_cast<int16_t>((i * 7919L) % 60001 - 30000);
    return p;
  }();
  return pattern;
}

class CBenchChannel : public CURIChannelInfoImpl {
 public:
  explicit CBenchChannel(CURIChannelGroupImpl* owner) : CURIChannelInfoImpl(owner) {
    SetName(0, OLESTR("Generated"));
    AddVNorm(0.0, 0.001, 0.0);
  }
};

// One channel, one normset of kSamples samples repeating the pattern; stored
// pairs at `factor` (1: none).
class CBenchGroup : public CURIChannelGroupImpl {
 public:
  CBenchGroup(CURIRecordingImpl* owner, LONG factor) : CURIChannelGroupImpl(owner), factor_(factor) {
    AddChannelInfo(new CBenchChannel(this));
    AddHNorm(0.0, 0.0001, kSamples);
    const std::vector<int16_t>& p = Pattern();
    for (LONG r = 0; factor_ > 1 && r < kPattern / factor_; ++r) {
      const auto first = p.begin() + r * factor_;
      pairs_.push_back(*std::max_element(first, first + factor_));
      pairs_.push_back(*std::min_element(first, first + factor_));
    }
  }

  HRESULT STDMETHODCALLTYPE GetBestReductionFactor(LONG, LONG* reduction) override {
    if (*reduction >= factor_) *reduction = *reduction / factor_ * factor_;
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE GetMuxData(SAFEARRAY** channels, LONG hnorm, LONG first, LONG count,
                                       LONG reduction, SAFEARRAY** result) override {
    if (result == nullptr) return E_POINTER;
    *result = nullptr;
    if (first < 1 || reduction < 1 || hnorm != 1) return E_INVALIDARG;
    if (reduction != 1 && reduction != factor_) {
      const LONG k = reduction % factor_ == 0 ? factor_ : 1;
      return CallGetReducedMuxData(channels, hnorm, first, count, reduction / k, k, result);
    }
    const LONG m = std::min<LONG>((kSamples - first) / reduction + 1, count);
    const bool pairs = reduction != 1;
    SAFEARRAYBOUND bounds[2] = {{2, 1}, {static_cast<ULONG>(m), 1}};
    SAFEARRAY* array = pairs ? mlr::SafeArrayCreateUninitialized(VT_I2, 2, bounds)
                             : mlr::SafeArrayCreateUninitialized(VT_I2, 1, &bounds[1]);
    if (array == nullptr) return E_OUTOFMEMORY;
    int16_t* out = static_cast<int16_t*>(array->pvData);
    const std::vector<int16_t>& source = pairs ? pairs_ : Pattern();
    const size_t width = pairs ? 2 : 1;
    size_t at = static_cast<size_t>((first - 1) / reduction) % (source.size() / width);
    for (size_t done = 0; done < static_cast<size_t>(m);) {
      const size_t n = std::min(static_cast<size_t>(m) - done, source.size() / width - at);
      std::memcpy(out + done * width, source.data() + at * width, n * width * sizeof(int16_t));
      done += n;
      at = 0;
    }
    *result = array;
    return S_OK;
  }

 private:
  LONG factor_;
  std::vector<int16_t> pairs_;
};

class CBenchRecording : public CURIRecordingImpl {
 public:
  CBenchRecording() {
    AddChannelGroup(new CBenchGroup(this, kStored));
    AddChannelGroup(new CBenchGroup(this, 1));
  }
};

struct DisplayFixture {
  ComPtr<IRecording> recording;
  ComPtr<IChannelGroup> stored, full;
  ComPtr<IChannelInfo> stored_channel, full_channel;

  DisplayFixture() {
    recording.attach(static_cast<IRecording*>(new CBenchRecording()));
    recording->AddRef();
    ComPtr<IChannelGroups> groups;
    recording->get_ChannelGroups(groups.put());
    groups->get_Item(1, stored.put());
    groups->get_Item(2, full.put());
    stored_channel = ChannelOf(stored.get());
    full_channel = ChannelOf(full.get());
  }

  static ComPtr<IChannelInfo> ChannelOf(IChannelGroup* group) {
    ComPtr<IChannelInfos> infos;
    ComPtr<IChannelInfo> info;
    group->get_ChannelInfos(infos.put());
    infos->get_Item(1, info.put());
    return info;
  }
};

DisplayFixture& Display() {
  static DisplayFixture fixture;
  return fixture;
}

void RunDisplay(benchmark::State& state, IChannelGroup* group, IChannelInfo* channel) {
  const double end = (kSamples - 1) * 0.0001;
  for (auto _ : state) {
    SAFEARRAY* result = nullptr;
    if (GetDisplayData(group, channel, 0.0, end, kPoints, &result) != S_OK || result == nullptr) {
      state.SkipWithError("GetDisplayData failed");
      break;
    }
    benchmark::DoNotOptimize(result);
    SafeArrayDestroy(result);
  }
  state.SetItemsProcessed(state.iterations() * int64_t{kSamples});
}

void BM_DisplayStored(benchmark::State& state) {
  RunDisplay(state, Display().stored.get(), Display().stored_channel.get());
}
BENCHMARK(BM_DisplayStored)->Unit(benchmark::kMillisecond);

void BM_DisplayFullRate(benchmark::State& state) {
  RunDisplay(state, Display().full.get(), Display().full_channel.get());
}
BENCHMARK(BM_DisplayFullRate)->Unit(benchmark::kMillisecond);

void BM_PlainMinMaxScan(benchmark::State& state) {
  const std::vector<int16_t>& p = Pattern();
  for (auto _ : state) {
    int16_t high = INT16_MIN;
    int16_t low = INT16_MAX;
    for (LONG pass = 0; pass < kSamples / kPattern; ++pass) {
      MinMax(p.data(), p.size(), &high, &low);
      benchmark::ClobberMemory();
    }
    benchmark::DoNotOptimize(high);
    benchmark::DoNotOptimize(low);
  }
  state.SetItemsProcessed(state.iterations() * int64_t{kSamples});
}
BENCHMARK(BM_PlainMinMaxScan)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
