// The size of the processor's last-level cache on POSIX systems (internal to
// platform/posix; platform/streaming_stores.h declares SystemLastLevelCacheBytes).
//
// Linux describes the caches of the first processor in sysfs, one folder
// index0, index1, ... per cache with the files `level` ("3"), `type`
// ("Data", "Instruction" or "Unified") and `size` ("32768K"). The C
// library's own figure (sysconf) is not used: under some hypervisors it
// multiplies the cache by the number of processors of the host.
#pragma once

#include <cstddef>
#include <string>

namespace mlr::posix {

// The size in bytes of the data or unified cache of the highest level
// described under `cache_dir` (a folder laid out like
// /sys/devices/system/cpu/cpu0/cache); 0 when it describes none or cannot be
// read. Sizes carry a K, M or G suffix (binary multiples) or none (bytes).
size_t LargestCacheBytes(const std::string& cache_dir);

}  // namespace mlr::posix
