#include "model/api_entry_table.h"

#include <atomic>
#include <mutex>

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

}  // namespace

ApiEntries Resolve() {
  if (!resolved.load(std::memory_order_acquire)) {
    std::lock_guard<std::mutex> lock(resolve_mutex);
    if (!resolved.load(std::memory_order_relaxed)) {
      if (HMODULE module = ModuleHandle()) {
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
