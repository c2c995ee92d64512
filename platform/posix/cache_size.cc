// SystemLastLevelCacheBytes from sysfs: see platform/posix/cache_size.h.
#if !defined(_WIN32)

#include "platform/posix/cache_size.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/streaming_stores.h"

namespace mlr::posix {
namespace {

// The first line of a small file, without its line end; false when it
// cannot be read.
bool ReadLine(const std::string& path, std::string* line) {
  FILE* f = std::fopen(path.c_str(), "r");
  if (f == nullptr) return false;
  char buffer[64];
  const bool read = std::fgets(buffer, sizeof buffer, f) != nullptr;
  std::fclose(f);
  if (!read) return false;
  buffer[std::strcspn(buffer, "\r\n")] = '\0';
  *line = buffer;
  return true;
}

// "48K", "32768K", "1M", "4096": bytes, or 0 for anything else.
size_t ParseSize(const std::string& text) {
  char* end = nullptr;
  const unsigned long long value = std::strtoull(text.c_str(), &end, 10);
  if (end == text.c_str()) return 0;
  unsigned shift = 0;
  switch (*end) {
    case '\0': break;
    case 'K': shift = 10; ++end; break;
    case 'M': shift = 20; ++end; break;
    case 'G': shift = 30; ++end; break;
    default: return 0;
  }
  if (*end != '\0' || value > (~0ull >> shift)) return 0;
  return static_cast<size_t>(value << shift);
}

}  // namespace

size_t LargestCacheBytes(const std::string& cache_dir) {
  size_t bytes = 0;
  long best_level = 0;
  // The indexes are dense from 0; a gap ends the list.
  for (int index = 0; index < 64; ++index) {
    const std::string dir = cache_dir + "/index" + std::to_string(index) + "/";
    std::string level_text, type, size_text;
    if (!ReadLine(dir + "level", &level_text)) break;
    if (!ReadLine(dir + "type", &type) || type == "Instruction") continue;
    if (!ReadLine(dir + "size", &size_text)) continue;
    const long level = std::strtol(level_text.c_str(), nullptr, 10);
    const size_t size = ParseSize(size_text);
    if (size != 0 && level > best_level) {
      best_level = level;
      bytes = size;
    }
  }
  return bytes;
}

}  // namespace mlr::posix

namespace mlr {

size_t SystemLastLevelCacheBytes() {
  return posix::LargestCacheBytes("/sys/devices/system/cpu/cpu0/cache");
}

}  // namespace mlr

#endif  // !_WIN32
