// SystemLastLevelCacheBytes on Windows: the largest data or unified cache
// the system describes (see platform/streaming_stores.h).
#if defined(_WIN32)

#include <vector>

#include "platform/streaming_stores.h"
#include "platform/win.h"

namespace mlr {

size_t SystemLastLevelCacheBytes() {
  DWORD bytes = 0;
  GetLogicalProcessorInformation(nullptr, &bytes);
  if (GetLastError() != ERROR_INSUFFICIENT_BUFFER || bytes == 0) return 0;
  std::vector<SYSTEM_LOGICAL_PROCESSOR_INFORMATION> entries(
      bytes / sizeof(SYSTEM_LOGICAL_PROCESSOR_INFORMATION) + 1);
  bytes = static_cast<DWORD>(entries.size() * sizeof(SYSTEM_LOGICAL_PROCESSOR_INFORMATION));
  if (!GetLogicalProcessorInformation(entries.data(), &bytes)) return 0;
  size_t size = 0;
  BYTE best_level = 0;
  const size_t count = bytes / sizeof(SYSTEM_LOGICAL_PROCESSOR_INFORMATION);
  for (size_t k = 0; k < count; ++k) {
    if (entries[k].Relationship != RelationCache) continue;
    const CACHE_DESCRIPTOR& cache = entries[k].Cache;
    if (cache.Type == CacheInstruction || cache.Level <= best_level) continue;
    best_level = cache.Level;
    size = cache.Size;
  }
  return size;
}

}  // namespace mlr

#endif  // _WIN32
