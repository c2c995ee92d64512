// Saving a 4 GiB selection with SaveRecording, against dd writing the same
// number of bytes with fdatasync.
//
// The source is generated: a recording of four groups of eight channels,
// one normset of 2^26 frames each (1 GiB of samples per group, 4 GiB in
// all), whose GetMuxData computes the samples instead of reading them, so
// that the benchmark measures the saver and the target disk only. The save
// includes the reduced stream (MuxData500) and ends with an fdatasync of the
// target, as dd does. Counters: bytes per second of the target file and
// the process's peak resident set (MiB) after the save.
//
// Run on purpose: build/save_bench [--benchmark_filter=...]. The target
// folder is $MLR_BENCH_DIR, else /tmp; it needs about 4.1 GB free.
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "LegacyRecording.h"
#include "model/channel_group_impl.h"
#include "model/channel_info_impl.h"
#include "model/recording_impl.h"
#include "platform/com_ptr.h"
#include "platform/win.h"
#include "reader/text_convert.h"

namespace {

using mlr::ComPtr;

constexpr int kGroups = 4;
constexpr int kChannels = 8;
constexpr LONG kFrames = 1 << 26;

int16_t Sample(int64_t frame, int64_t channel) {
  return static_cast<int16_t>((frame * 31 + channel * 977 + (frame >> 9) * 7) & 0xFFFF);
}

class CGeneratedChannel : public CURIChannelInfoImpl {
 public:
  explicit CGeneratedChannel(CURIChannelGroupImpl* owner) : CURIChannelInfoImpl(owner) {
    SetName(0, u"generated");
    SetYUnits(u"V");
  }
};

class CGeneratedGroup : public CURIChannelGroupImpl {
 public:
  explicit CGeneratedGroup(CURIRecordingImpl* owner) : CURIChannelGroupImpl(owner) {
    for (int c = 0; c < kChannels; ++c) AddChannelInfo(new CGeneratedChannel(this));
    AddHNorm(0.0, 1e-5, kFrames);
  }

  HRESULT STDMETHODCALLTYPE GetMuxData(SAFEARRAY** ChInfo, LONG, LONG FirstSample, LONG ItemCount,
                                       LONG Reduction, SAFEARRAY** Result) override {
    if (!Result) return E_POINTER;
    *Result = nullptr;
    if (!ChInfo || !*ChInfo || Reduction != 1 || FirstSample < 1) return E_INVALIDARG;
    std::vector<LONG> indices;
    HRESULT hr = MapChannelIndices(*ChInfo, &indices);
    if (FAILED(hr)) return hr;
    const size_t n = indices.size() - 1;
    const LONG m = std::max<LONG>(0, std::min<LONG>(ItemCount, kFrames - FirstSample + 1));
    SAFEARRAYBOUND bounds[2] = {{static_cast<ULONG>(n), 1}, {static_cast<ULONG>(m), 1}};
    SAFEARRAY* array = SafeArrayCreate(VT_I2, 2, bounds);
    if (!array) return E_OUTOFMEMORY;
    auto* out = static_cast<int16_t*>(array->pvData);
    for (LONG f = 0; f < m; ++f) {
      for (size_t c = 0; c < n; ++c) *out++ = Sample(FirstSample - 1 + f, indices[c]);
    }
    *Result = array;
    return S_OK;
  }
};

class CGeneratedRecording : public CURIRecordingImpl {
 public:
  CGeneratedRecording() {
    SetStartTimeFromUTC(2024, 1, 0.0);
    for (int g = 0; g < kGroups; ++g) AddChannelGroup(new CGeneratedGroup(this));
  }
};

std::string Folder() {
  const char* dir = getenv("MLR_BENCH_DIR");
  return dir ? dir : "/tmp";
}

uint64_t FileSize(const std::string& path) {
  std::error_code ec;
  uint64_t size = std::filesystem::file_size(path, ec);
  return ec ? 0 : size;
}

bool SyncFile(const std::string& path) {
  FILE* file = std::fopen(path.c_str(), "r+b");
  if (!file) return false;
  const bool ok = fdatasync(fileno(file)) == 0;
  std::fclose(file);
  return ok;
}

double PeakRssMiB() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss / 1024.0;
}

uint64_t g_saved_bytes = 0;  // the size of the last saved file, for dd

void BM_SaveRecording4GiB(benchmark::State& state) {
  CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  ComPtr<IRecording> source(static_cast<IRecording*>(new CGeneratedRecording()));
  ComPtr<IChannelGroups> groups;
  source->get_ChannelGroups(groups.put());
  SAFEARRAY* channels = SafeArrayCreateVector(VT_DISPATCH, 0, kGroups * kChannels);
  for (LONG g = 0; g < kGroups; ++g) {
    ComPtr<IChannelGroup> group;
    ComPtr<IChannelInfos> infos;
    groups->get_Item(g + 1, group.put());
    group->get_ChannelInfos(infos.put());
    for (LONG c = 0; c < kChannels; ++c) {
      ComPtr<IChannelInfo> info;
      infos->get_Item(c + 1, info.put());
      LONG at = g * kChannels + c;
      SafeArrayPutElement(channels, &at, static_cast<IDispatch*>(info.get()));
    }
  }
  const std::string path = Folder() + "/save_bench.krf";
  BSTR name = SysAllocString(mlr::reader::AnsiToUtf16(path).c_str());
  for (auto _ : state) {
    ComPtr<ISaveRecordingProgress> progress;
    HRESULT hr = SaveRecording(name, &channels, 0.0, 1e9, static_cast<kalSaveRecordingFlags>(0),
                               progress.put());
    if (FAILED(hr)) {
      state.SkipWithError("SaveRecording failed");
      break;
    }
    kalSaveRecordingStatus status = kalSRS_Initializing;
    while (SUCCEEDED(progress->get_Status(&status)) && status != kalSRS_Ready &&
           status != kalSRS_ErrorOccurred) {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    LONG error = 0;
    progress->get_ErrorCode(&error);
    progress.reset();  // closes and stamps the file
    if (error != 0 || !SyncFile(path)) {
      state.SkipWithError("the save failed");
      break;
    }
    g_saved_bytes = FileSize(path);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * g_saved_bytes));
  state.counters["file_MiB"] = g_saved_bytes / 1048576.0;
  state.counters["peak_rss_MiB"] = PeakRssMiB();
  SysFreeString(name);
  SafeArrayDestroy(channels);
  std::error_code ec;
  std::filesystem::remove(path, ec);
  groups.reset();
  source.reset();
  CoUninitialize();
}
BENCHMARK(BM_SaveRecording4GiB)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();

// dd writing as many bytes as the saved file holds, 1 MiB blocks, then
// fdatasync (conv=fdatasync).
void BM_DdSameBytes(benchmark::State& state) {
  const uint64_t bytes = g_saved_bytes ? g_saved_bytes : (4ull << 30);
  const std::string path = Folder() + "/save_bench_dd.bin";
  const std::string command = "dd if=/dev/zero of=" + path + " bs=1M count=" +
                              std::to_string((bytes + 1048575) / 1048576) +
                              " conv=fdatasync status=none";
  for (auto _ : state) {
    if (std::system(command.c_str()) != 0) {
      state.SkipWithError("dd failed");
      break;
    }
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
  std::error_code ec;
  std::filesystem::remove(path, ec);
}
BENCHMARK(BM_DdSameBytes)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
