// GetMuxData throughput on a recording of more than 1 GiB, against a plain
// read of the same stream through IStream and of the file with read(2).
//
// The recording is made once per run in a temporary folder: one group of 8
// channels, one normset of 67,108,864 frames (1 GiB of samples), a reduced
// stream at factor 100. Every benchmark walks the whole normset (or the whole
// stream) once per iteration; bytes are the sample bytes delivered.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "LegacyRecording.h"
#include "platform/com_ptr.h"
#include "platform/win.h"
#include "reader/krf_loader.h"
#include "reader/text_convert.h"
#include "testing/large_recording.h"

namespace {

using mlr::ComPtr;

constexpr uint32_t kChannels = 8;
constexpr uint32_t kFrames = 1u << 26;  // 64 Mi frames x 16 bytes = 1 GiB
constexpr uint32_t kFactor = 100;

struct Fixture {
  std::string dir;
  std::string path;
  ComPtr<IRecording> recording;
  ComPtr<IChannelGroup> group;
  SAFEARRAY* channels = nullptr;
  SAFEARRAY* pair = nullptr;  // channels 6 and 3: the picking path

  Fixture() {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    char name[] = "/tmp/reader_bench_XXXXXX";
    dir = mkdtemp(name);
    path = dir + "/large.krf";
    const HRESULT hr = mlr::testing::WriteLargeRecording(path, kChannels, kFrames, kFactor);
    if (FAILED(hr)) {
      std::fprintf(stderr, "cannot write %s: 0x%08X\n", path.c_str(), static_cast<unsigned>(hr));
      std::exit(1);
    }
    const std::u16string wide = mlr::reader::AnsiToUtf16(path);
    ComPtr<IStorage> ro;
    StgOpenStorage(wide.c_str(), nullptr, STGM_READ | STGM_SHARE_EXCLUSIVE, nullptr, 0, ro.put());
    mlr::reader::OpenRecordingOnStorage(ro.get(), recording.put());
    ComPtr<IChannelGroups> groups;
    recording->get_ChannelGroups(groups.put());
    groups->get_Item(1, group.put());
    ComPtr<IChannelInfos> infos;
    group->get_ChannelInfos(infos.put());
    channels = SafeArrayCreateVector(VT_DISPATCH, 0, kChannels);
    pair = SafeArrayCreateVector(VT_DISPATCH, 0, 2);
    for (LONG i = 0; i < static_cast<LONG>(kChannels); ++i) {
      ComPtr<IChannelInfo> info;
      infos->get_Item(i + 1, info.put());
      SafeArrayPutElement(channels, &i, static_cast<IDispatch*>(info.get()));
      LONG at = i == 5 ? 0 : 1;
      if (i == 5 || i == 2) SafeArrayPutElement(pair, &at, static_cast<IDispatch*>(info.get()));
    }
  }
  // The recording holds the file share-exclusive; benchmarks that open the
  // file themselves release it first (they run after those that use it).
  void ReleaseRecording() {
    if (channels) SafeArrayDestroy(channels);
    if (pair) SafeArrayDestroy(pair);
    channels = pair = nullptr;
    group.reset();
    recording.reset();
  }
  ~Fixture() {
    ReleaseRecording();
    std::error_code ec;
    std::filesystem::remove_all(dir, ec);
    CoUninitialize();
  }
};

Fixture& Shared() {
  static Fixture fixture;
  return fixture;
}

// Argument: frames per GetMuxData call.
void BM_GetMuxDataFullRate(benchmark::State& state) {
  const LONG kCallFrames = static_cast<LONG>(state.range(0));
  Fixture& f = Shared();
  if (!f.group) return state.SkipWithError("the recording was released");
  int64_t frames = 0;
  for (auto _ : state) {
    for (LONG first = 1; first <= static_cast<LONG>(kFrames); first += kCallFrames) {
      SAFEARRAY* result = nullptr;
      if (FAILED(f.group->GetMuxData(&f.channels, 1, first, kCallFrames, 1, &result))) {
        state.SkipWithError("GetMuxData failed");
        return;
      }
      benchmark::DoNotOptimize(result->pvData);
      SafeArrayDestroy(result);
      frames += kCallFrames;
    }
  }
  state.SetItemsProcessed(frames);
  state.SetBytesProcessed(frames * kChannels * 2);
}
BENCHMARK(BM_GetMuxDataFullRate)->Arg(1 << 16)->Arg(1 << 20)->Unit(benchmark::kMillisecond)->UseRealTime();

// Two of the eight channels, in another order: bytes are those delivered.
void BM_GetMuxDataTwoChannels(benchmark::State& state) {
  const LONG kCallFrames = 1 << 16;
  Fixture& f = Shared();
  if (!f.group) return state.SkipWithError("the recording was released");
  int64_t frames = 0;
  for (auto _ : state) {
    for (LONG first = 1; first <= static_cast<LONG>(kFrames); first += kCallFrames) {
      SAFEARRAY* result = nullptr;
      if (FAILED(f.group->GetMuxData(&f.pair, 1, first, kCallFrames, 1, &result))) {
        state.SkipWithError("GetMuxData failed");
        return;
      }
      benchmark::DoNotOptimize(result->pvData);
      SafeArrayDestroy(result);
      frames += kCallFrames;
    }
  }
  state.SetItemsProcessed(frames);
  state.SetBytesProcessed(frames * 2 * 2);
}
BENCHMARK(BM_GetMuxDataTwoChannels)->Unit(benchmark::kMillisecond)->UseRealTime();

// Argument: reduced frames per GetMuxData call.
void BM_GetMuxDataReduced(benchmark::State& state) {
  const LONG kCallFrames = static_cast<LONG>(state.range(0));
  Fixture& f = Shared();
  if (!f.group) return state.SkipWithError("the recording was released");
  int64_t frames = 0;
  for (auto _ : state) {
    for (LONG first = 1; first <= static_cast<LONG>(kFrames); first += kCallFrames * kFactor) {
      SAFEARRAY* result = nullptr;
      if (FAILED(f.group->GetMuxData(&f.channels, 1, first, kCallFrames, kFactor, &result))) {
        state.SkipWithError("GetMuxData failed");
        return;
      }
      LONG hi = 0;
      SafeArrayGetUBound(result, 2, &hi);
      frames += hi;
      SafeArrayDestroy(result);
    }
  }
  state.SetItemsProcessed(frames);
  state.SetBytesProcessed(frames * kChannels * 4);
}
BENCHMARK(BM_GetMuxDataReduced)->Arg(1 << 16)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_StreamRead(benchmark::State& state) {
  Fixture& f = Shared();
  const std::u16string wide = mlr::reader::AnsiToUtf16(f.path);
  // Reads the same stream with the block size GetMuxData uses (4096 frames).
  f.ReleaseRecording();
  ComPtr<IStorage> root, data, group;
  ComPtr<IStream> s;
  const DWORD ro = STGM_READ | STGM_SHARE_EXCLUSIVE;
  if (FAILED(StgOpenStorage(wide.c_str(), nullptr, ro, nullptr, 0, root.put())) ||
      FAILED(root->OpenStorage(u"Data", nullptr, ro, nullptr, 0, data.put())) ||
      FAILED(data->OpenStorage(u"ChGroup1", nullptr, ro, nullptr, 0, group.put())) ||
      FAILED(group->OpenStream(u"MuxData02", nullptr, ro, 0, s.put()))) {
    state.SkipWithError("cannot open the stream");
    return;
  }
  std::vector<uint8_t> block(4096 * kChannels * 2);
  int64_t bytes = 0;
  for (auto _ : state) {
    LARGE_INTEGER zero{};
    s->Seek(zero, STREAM_SEEK_SET, nullptr);
    ULONG got = 0;
    do {
      s->Read(block.data(), static_cast<ULONG>(block.size()), &got);
      bytes += got;
    } while (got == block.size());
  }
  state.SetBytesProcessed(bytes);
  state.SetItemsProcessed(bytes / (kChannels * 2));
}
BENCHMARK(BM_StreamRead)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_FileRead(benchmark::State& state) {
  Fixture& f = Shared();
  std::vector<uint8_t> block(1 << 20);
  int64_t bytes = 0;
  for (auto _ : state) {
    FILE* file = std::fopen(f.path.c_str(), "rb");
    std::setvbuf(file, nullptr, _IONBF, 0);
    size_t got;
    while ((got = std::fread(block.data(), 1, block.size(), file)) > 0) bytes += static_cast<int64_t>(got);
    std::fclose(file);
  }
  state.SetBytesProcessed(bytes);
  state.SetItemsProcessed(bytes / (kChannels * 2));
}
BENCHMARK(BM_FileRead)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
