// Sequential stream I/O of the compound-file engine against the physical
// limit and against what a user would use otherwise, in one run:
//   Write, Read      one stream through IStream against write(2)/read(2) of
//                    the same bytes in a plain file, same block size, paired
//                    in every iteration (counters: both rates, the ratio)
//   OlefileRead, GsfCatRead  python3-olefile and `gsf cat` reading the stream
// Reads come from the page cache (the files were just written). The size is
// 1 GiB unless MLR_BENCH_MB says otherwise; files live in MLR_BENCH_DIR
// (default: the system's temporary directory) and are removed at the end.
#include "platform/com_ptr.h"
#include "platform/win.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <time.h>
#include <unistd.h>

namespace {

using mlr::ComPtr;

uint64_t TotalBytes() {
  const char* mb = std::getenv("MLR_BENCH_MB");
  return (mb ? std::strtoull(mb, nullptr, 10) : 1024) << 20;
}

std::filesystem::path Dir() {
  const char* d = std::getenv("MLR_BENCH_DIR");
  std::filesystem::path dir = d ? std::filesystem::path(d) : std::filesystem::temp_directory_path() / "mlr_storage_bench";
  std::filesystem::create_directories(dir);
  return dir;
}

const std::string& PlainPath() {
  static const std::string p = (Dir() / "plain.bin").string();
  return p;
}
const std::string& EnginePath() {
  static const std::string p = (Dir() / "engine.cfb").string();
  return p;
}
std::u16string Wide(const std::string& s) { return std::u16string(s.begin(), s.end()); }

std::vector<char> Block(size_t n) {
  std::vector<char> b(n);
  for (size_t i = 0; i < n; ++i) b[i] = static_cast<char>(i * 7 + (i >> 9));
  return b;
}

void PlainWrite(size_t block) {
  int fd = ::open(PlainPath().c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  auto buf = Block(block);
  for (uint64_t done = 0; done < TotalBytes(); done += block)
    if (::write(fd, buf.data(), block) != static_cast<ssize_t>(block)) std::abort();
  ::close(fd);
}

void EngineWrite(size_t block) {
  ComPtr<IStorage> root, data;
  ComPtr<IStream> s;
  if (FAILED(StgCreateDocfile(Wide(EnginePath()).c_str(), STGM_CREATE | STGM_SHARE_EXCLUSIVE | STGM_READWRITE, 0,
                              root.put())) ||
      FAILED(root->CreateStorage(u"Data", STGM_CREATE | STGM_SHARE_EXCLUSIVE | STGM_READWRITE, 0, 0, data.put())) ||
      FAILED(data->CreateStream(u"MuxData02", STGM_CREATE | STGM_SHARE_EXCLUSIVE | STGM_WRITE, 0, 0, s.put())))
    std::abort();
  auto buf = Block(block);
  for (uint64_t done = 0; done < TotalBytes(); done += block)
    if (FAILED(s->Write(buf.data(), static_cast<ULONG>(block), nullptr))) std::abort();
}

double ThreadCpuSeconds() {
  timespec t{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

// Wall time of fn; *cpu receives the CPU time this thread spent in it (user
// and kernel), which waiting for a busy machine's processors does not count.
double Seconds(const std::function<void()>& fn, double* cpu = nullptr) {
  const double cpu_start = ThreadCpuSeconds();
  auto start = std::chrono::steady_clock::now();
  fn();
  const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  if (cpu) *cpu = ThreadCpuSeconds() - cpu_start;
  return wall;
}

double Median(std::vector<double> v) {
  if (v.empty()) return 0;
  std::sort(v.begin(), v.end());
  const size_t n = v.size();
  return n % 2 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
}

void PlainRead(size_t block) {
  std::vector<char> buf(block);
  int fd = ::open(PlainPath().c_str(), O_RDONLY);
  uint64_t total = 0;
  for (ssize_t n; (n = ::read(fd, buf.data(), block)) > 0;) total += static_cast<uint64_t>(n);
  ::close(fd);
  if (total != TotalBytes()) std::abort();
}

void EngineRead(size_t block) {
  std::vector<char> buf(block);
  ComPtr<IStorage> root, data;
  ComPtr<IStream> s;
  if (FAILED(StgOpenStorage(Wide(EnginePath()).c_str(), nullptr, STGM_SHARE_DENY_WRITE | STGM_READ, nullptr, 0,
                            root.put())) ||
      FAILED(root->OpenStorage(u"Data", nullptr, STGM_SHARE_EXCLUSIVE | STGM_READ, nullptr, 0, data.put())) ||
      FAILED(data->OpenStream(u"MuxData02", nullptr, STGM_SHARE_EXCLUSIVE | STGM_READ, 0, s.put())))
    std::abort();
  uint64_t total = 0;
  for (ULONG got = 1; got;) {
    got = 0;
    if (FAILED(s->Read(buf.data(), static_cast<ULONG>(block), &got))) std::abort();
    total += got;
  }
  if (total != TotalBytes()) std::abort();
}

// Plain and engine side by side in every iteration (alternating which goes
// first), so that both meet the same page cache and writeback state. The
// iteration time is the engine's; the counters give both rates, the ratio of
// the totals (engine/plain), the median of the ratios of the pairs
// (median_pair: on a shared machine a burst of other work can slow one side
// of a pair, and the median discounts such pairs) and the median ratio of
// their CPU times (cpu_pair: the work each side does, whatever the load).
void Paired(benchmark::State& state, void (*plain)(size_t), void (*engine)(size_t), bool fresh_files) {
  const size_t block = static_cast<size_t>(state.range(0));
  double plain_s = 0, engine_s = 0;
  std::vector<double> ratios, cpu_ratios;
  int turn = 0;
  for (auto _ : state) {
    if (fresh_files) {
      std::error_code ignored;
      std::filesystem::remove(PlainPath(), ignored);
      std::filesystem::remove(EnginePath(), ignored);
    }
    double p = 0, e = 0, p_cpu = 0, e_cpu = 0;
    if (turn++ % 2 == 0) {
      p = Seconds([&] { plain(block); }, &p_cpu);
      e = Seconds([&] { engine(block); }, &e_cpu);
    } else {
      e = Seconds([&] { engine(block); }, &e_cpu);
      p = Seconds([&] { plain(block); }, &p_cpu);
    }
    if (e_cpu > 0) cpu_ratios.push_back(p_cpu / e_cpu);
    plain_s += p;
    engine_s += e;
    ratios.push_back(p / e);
    state.SetIterationTime(e);
  }
  const double mib = static_cast<double>(TotalBytes()) / (1 << 20) * static_cast<double>(state.iterations());
  state.counters["plain_MiB/s"] = mib / plain_s;
  state.counters["engine_MiB/s"] = mib / engine_s;
  state.counters["engine/plain"] = plain_s / engine_s;
  state.counters["median_pair"] = Median(ratios);
  state.counters["cpu_pair"] = Median(cpu_ratios);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * TotalBytes()));
}

void BM_Write(benchmark::State& state) { Paired(state, PlainWrite, EngineWrite, true); }
void BM_Read(benchmark::State& state) { Paired(state, PlainRead, EngineRead, false); }

// Times an external reader of the engine's file.
void External(benchmark::State& state, const std::string& command) {
  for (auto _ : state) {
    auto start = std::chrono::steady_clock::now();
    if (std::system(command.c_str()) != 0) {
      state.SkipWithError(("failed: " + command).c_str());
      return;
    }
    state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * TotalBytes()));
}

void BM_OlefileRead(benchmark::State& state) {
  External(state, "/usr/bin/python3 -c \"import olefile,sys; o=olefile.OleFileIO(sys.argv[1]); "
                  "d=o.openstream('Data/MuxData02').read(); sys.exit(0 if len(d)==" +
                      std::to_string(TotalBytes()) + " else 1)\" '" + EnginePath() + "'");
}

void BM_GsfCatRead(benchmark::State& state) {
  External(state, "gsf cat '" + EnginePath() + "' Data/MuxData02 > /dev/null");
}

constexpr int64_t k64K = 64 << 10, k1M = 1 << 20;

BENCHMARK(BM_Write)->Arg(k64K)->Arg(k1M)->Iterations(6)->Unit(benchmark::kMillisecond)->UseManualTime();
BENCHMARK(BM_Read)->Arg(k64K)->Arg(k1M)->Iterations(8)->Unit(benchmark::kMillisecond)->UseManualTime();
BENCHMARK(BM_OlefileRead)->Iterations(2)->Unit(benchmark::kMillisecond)->UseManualTime();
BENCHMARK(BM_GsfCatRead)->Iterations(2)->Unit(benchmark::kMillisecond)->UseManualTime();

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  std::error_code ignored;
  std::filesystem::remove(PlainPath(), ignored);
  std::filesystem::remove(EnginePath(), ignored);
  return 0;
}
