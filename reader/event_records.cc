#include "reader/event_records.h"

#include <algorithm>

#include "reader/byte_reader.h"
#include "reader/krf_format.h"

namespace mlr::reader {

std::vector<MarkerRecord> DecodeMarkers(const uint8_t* data, size_t size) {
  std::vector<MarkerRecord> out;
  ByteReader in(data, size);
  uint32_t count = 0;
  if (!in.ReadU32(&count) || count == 0) return out;
  const size_t record = (size - 4) / count;
  if (record < kMarkerHeaderSize) return out;
  for (uint32_t i = 0; i < count; ++i) {
    if (!in.Seek(4 + static_cast<size_t>(i) * record)) break;
    double time = 0;
    uint32_t flag = 0;
    if (!in.ReadF64(&time) || !in.ReadU32(&flag)) break;
    if (flag != 0) out.push_back({time});
  }
  return out;
}

std::vector<BookmarkRecord> DecodeBookmarks(const uint8_t* data, size_t size) {
  std::vector<BookmarkRecord> out;
  ByteReader in(data, size);
  uint32_t count = 0;
  if (!in.ReadU32(&count)) return out;
  for (uint32_t i = 0; i < count; ++i) {
    BookmarkRecord b;
    if (!in.ReadF64(&b.time) || !in.ReadCString(&b.text)) break;
    out.push_back(std::move(b));
  }
  return out;
}

std::vector<TriggerRecord> DecodeTriggers(const uint8_t* data, size_t size) {
  std::vector<TriggerRecord> out;
  ByteReader in(data, size);
  uint32_t count = 0;
  if (!in.ReadU32(&count)) return out;
  for (uint32_t i = 0; i < count; ++i) {
    const size_t start = in.pos();
    uint32_t record_size = 0;
    TriggerRecord t;
    if (!in.ReadU32(&record_size) || !in.ReadU32(&t.source) || !in.ReadF64(&t.time) ||
        !in.ReadI32(&t.group_index) || !in.ReadU32(&t.channel_number)) {
      break;
    }
    const size_t end = record_size < kTriggerHeaderSize
                           ? start + kTriggerHeaderSize
                           : start + std::min<size_t>(record_size, size - start);
    ByteReader name(data + in.pos(), end - in.pos());
    name.ReadCString(&t.name);
    out.push_back(std::move(t));
    if (record_size < kTriggerHeaderSize || !in.Seek(end) || end - start < record_size) break;
  }
  return out;
}

}  // namespace mlr::reader
