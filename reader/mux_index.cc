#include "reader/mux_index.h"

#include "reader/byte_reader.h"
#include "reader/krf_format.h"

namespace mlr::reader {

size_t IndexEntryWidth(uint32_t version) {
  return version != kVersionUnknown && version >= kVersionWideIndex ? 16 : 8;
}

std::vector<IndexEntry> DecodeIndexEntries(const uint8_t* data, size_t size, uint32_t count,
                                           size_t width) {
  std::vector<IndexEntry> out;
  ByteReader in(data, size);
  for (uint32_t i = 0; i < count && in.remaining() >= width; ++i) {
    IndexEntry e;
    if (width == 16) {
      in.ReadI64(&e.offset);
      in.ReadI64(&e.frames);
    } else {
      int32_t o = 0, f = 0;
      in.ReadI32(&o);
      in.ReadI32(&f);
      e.offset = o;
      e.frames = f;
    }
    out.push_back(e);
  }
  return out;
}

bool RepairReducedIndex(std::vector<IndexEntry>* index, uint32_t channels, uint64_t stream_size) {
  if (index->empty()) return false;
  // Unsigned arithmetic: a hostile entry may wrap, which only makes the
  // comparison fail.
  const uint64_t n = index->size();
  const uint64_t header = 4 + 8 * n;
  const IndexEntry& last = index->back();
  const uint64_t expected = static_cast<uint64_t>(last.offset) +
                            static_cast<uint64_t>(last.frames) * channels * 4u;
  if (stream_size != expected + header) return false;
  for (IndexEntry& e : *index) {
    e.offset = static_cast<int64_t>(static_cast<uint64_t>(e.offset) + header);
  }
  return true;
}

}  // namespace mlr::reader
