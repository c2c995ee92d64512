#include "model/api_entry_table.h"

#include <atomic>
#include <mutex>
#include <string>

#include "platform/module.h"

namespace mlr::api_entry_table {
namespace {

std::mutex resolve_mutex;
std::atomic<bool> resolved{false};
ApiEntries table;  // written once under resolve_mutex before `resolved` is set

template <typename Fn>
void Lookup(HMODULE module, const char* name, Fn& entry) {
  // GetProcAddress answers a generic function pointer; void (*)() converts
  // to any function pointer type without a cast-function-type warning.
  entry = reinterpret_cast<Fn>(reinterpret_cast<void (*)()>(GetProcAddress(module, name)));
}

// The library registered as the type library's server, loaded; null when the
// type library is not registered or its path does not load.
HMODULE LoadRegisteredLibrary() {
  BSTR path = nullptr;
  HMODULE module = nullptr;
  if (SUCCEEDED(QueryPathOfRegTypeLib(LIBID_LegacyRecording, 1, 0, 0, &path)) && path &&
      path[0]) {
    const int n = WideCharToMultiByte(CP_ACP, 0, path, -1, nullptr, 0, nullptr, nullptr);
    if (n > 1) {
      std::string ansi(static_cast<size_t>(n), '\0');
      WideCharToMultiByte(CP_ACP, 0, path, -1, &ansi[0], n, nullptr, nullptr);
      char long_path[520] = {};
      const DWORD length = GetLongPathNameA(ansi.c_str(), long_path, sizeof long_path);
      if (length > 0 && length < sizeof long_path) module = LoadLibraryA(long_path);
    }
  }
  SysFreeString(path);
  return module;
}

}  // namespace

ApiEntries Resolve() {
  if (!resolved.load(std::memory_order_acquire)) {
    std::lock_guard<std::mutex> lock(resolve_mutex);
    if (!resolved.load(std::memory_order_relaxed)) {
      HMODULE module = LoadRegisteredLibrary();
      if (!module) module = ModuleHandle();
      if (module) {
        Lookup(module, "GetResampledMuxData", table.GetResampledMuxData);
        Lookup(module, "GetDisplayData", table.GetDisplayData);
        Lookup(module, "GetScaledMuxData", table.GetScaledMuxData);
        Lookup(module, "GetSampleAtTime", table.GetSampleAtTime);
        Lookup(module, "GetValueAtTime", table.GetValueAtTime);
        Lookup(module, "RecordingTimeToLocalTime", table.RecordingTimeToLocalTime);
        Lookup(module, "LocalTimeToRecordingTime", table.LocalTimeToRecordingTime);
        Lookup(module, "RecordingTimeToDATE", table.RecordingTimeToDATE);
        Lookup(module, "GetReducedMuxData", table.GetReducedMuxData);
        Lookup(module, "GetEstimatedTotalSize", table.GetEstimatedTotalSize);
        resolved.store(true, std::memory_order_release);
      }
    }
  }
  return Peek();
}

ApiEntries Peek() {
  if (!resolved.load(std::memory_order_acquire)) return ApiEntries{};
  return table;
}

}  // namespace mlr::api_entry_table
