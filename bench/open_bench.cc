// Opening a wide recording: 1,000 channel groups of 2 analog channels each
// (one normset of 1,000 frames, a reduced stream at factor 10), opened
// read-only through the loader and walked as `krf info` walks it: every
// group's normsets, reduction factor and channel infos, every channel's
// name, unit and vertical normsets. Many small streams, so the cost is the
// per-stream overhead of the reader and the engine, not bulk reading.
//
// `open_bench --write FILE` only writes that recording to FILE (to time
// `krf info FILE` on it) and exits.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>

#include "LegacyRecording.h"
#include "platform/com_ptr.h"
#include "platform/win.h"
#include "reader/krf_loader.h"
#include "reader/text_convert.h"
#include "testing/krf_builder.h"
#include "testing/krf_writer.h"

namespace {

using mlr::ComPtr;

constexpr uint32_t kGroups = 1000;
constexpr uint32_t kFrames = 1000;

HRESULT WriteWideRecording(const std::string& path) {
  mlr::testing::RecordingSpec spec;
  for (uint32_t n = 1; n <= kGroups; ++n) {
    mlr::testing::GroupSpec g;
    g.number = n;
    g.reduction_factor = 10;
    for (uint32_t c = 1; c <= 2; ++c) {
      mlr::testing::ChannelSpec ch;
      ch.number = c;
      ch.name = u"Channel";
      ch.unit = u"V";
      ch.vnorms = {{0, 0, 0.001}};
      g.channels.push_back(ch);
    }
    g.hnorms = {{0.0, 0.001, 0}};
    std::vector<int16_t> frames(2 * kFrames);
    for (size_t i = 0; i < frames.size(); ++i) frames[i] = static_cast<int16_t>(i * 7 + n);
    g.segments = {frames};
    spec.groups.push_back(g);
  }
  const std::u16string wide = mlr::reader::AnsiToUtf16(path);
  ComPtr<IStorage> root;
  HRESULT hr = StgCreateDocfile(wide.c_str(), STGM_CREATE | STGM_READWRITE | STGM_SHARE_EXCLUSIVE,
                                0, root.put());
  if (SUCCEEDED(hr)) hr = mlr::testing::WriteTree(root.get(), mlr::testing::BuildTree(spec));
  if (SUCCEEDED(hr)) hr = root->Commit(STGC_DEFAULT);
  return hr;
}

struct Fixture {
  std::string dir;
  std::string path;
  Fixture() {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    char name[] = "/tmp/open_bench_XXXXXX";
    dir = mkdtemp(name);
    path = dir + "/wide.krf";
    const HRESULT hr = WriteWideRecording(path);
    if (FAILED(hr)) {
      std::fprintf(stderr, "cannot write %s: 0x%08X\n", path.c_str(), static_cast<unsigned>(hr));
      std::exit(1);
    }
  }
  ~Fixture() {
    std::error_code ec;
    std::filesystem::remove_all(dir, ec);
    CoUninitialize();
  }
};

Fixture& Shared() {
  static Fixture fixture;
  return fixture;
}

// Everything `krf info` asks of a group; returns the values touched.
uint64_t WalkGroup(IChannelGroup* group) {
  uint64_t touched = 0;
  ComPtr<IHNorms> hnorms;
  LONG count = 0;
  if (SUCCEEDED(group->get_HNorms(hnorms.put())) && SUCCEEDED(hnorms->get_Count(&count))) {
    touched += static_cast<uint64_t>(count);
  }
  LONG factor = 1 << 30;
  group->GetBestReductionFactor(1, &factor);
  touched += static_cast<uint64_t>(factor);
  ComPtr<IChannelInfos> infos;
  if (FAILED(group->get_ChannelInfos(infos.put())) || FAILED(infos->get_Count(&count))) return touched;
  for (LONG c = 1; c <= count; ++c) {
    ComPtr<IChannelInfo> info;
    if (FAILED(infos->get_Item(c, info.put())) || !info) continue;
    VARIANT bit;
    VariantInit(&bit);
    bit.vt = VT_I4;
    bit.lVal = 0;
    BSTR text = nullptr;
    if (SUCCEEDED(info->get_Name(bit, &text))) touched += SysStringLen(text);
    SysFreeString(text);
    text = nullptr;
    if (SUCCEEDED(info->get_YUnits(&text))) touched += SysStringLen(text);
    SysFreeString(text);
    ComPtr<IVNorms> vnorms;
    LONG rows = 0;
    if (SUCCEEDED(info->get_VNorms(vnorms.put())) && SUCCEEDED(vnorms->get_Count(&rows))) {
      touched += static_cast<uint64_t>(rows);
    }
  }
  return touched;
}

void BM_OpenAndWalkWideRecording(benchmark::State& state) {
  Fixture& f = Shared();
  const std::u16string wide = mlr::reader::AnsiToUtf16(f.path);
  for (auto _ : state) {
    ComPtr<IStorage> root;
    ComPtr<IRecording> recording;
    ComPtr<IChannelGroups> groups;
    if (FAILED(StgOpenStorage(wide.c_str(), nullptr, STGM_READ | STGM_SHARE_EXCLUSIVE, nullptr, 0,
                              root.put())) ||
        FAILED(mlr::reader::OpenRecordingOnStorage(root.get(), recording.put())) ||
        FAILED(recording->get_ChannelGroups(groups.put()))) {
      return state.SkipWithError("cannot open the recording");
    }
    LONG count = 0;
    groups->get_Count(&count);
    if (count != static_cast<LONG>(kGroups)) return state.SkipWithError("wrong group count");
    uint64_t touched = 0;
    for (LONG g = 1; g <= count; ++g) {
      ComPtr<IChannelGroup> group;
      if (SUCCEEDED(groups->get_Item(g, group.put())) && group) touched += WalkGroup(group.get());
    }
    benchmark::DoNotOptimize(touched);
  }
  state.SetItemsProcessed(state.iterations() * kGroups);
}
BENCHMARK(BM_OpenAndWalkWideRecording)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  if (argc == 3 && std::strcmp(argv[1], "--write") == 0) {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    const HRESULT hr = WriteWideRecording(argv[2]);
    CoUninitialize();
    if (FAILED(hr)) {
      std::fprintf(stderr, "cannot write %s: 0x%08X\n", argv[2], static_cast<unsigned>(hr));
      return 1;
    }
    return 0;
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
