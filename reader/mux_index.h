// The segment index at the head of "MuxData02" and of a reduced stream
// "MuxData<F>": u32 count n, then n entries, one per horizontal normset.
// Files of version 0x30000 and later store 16-byte entries (i64 byte offset
// of the segment's first frame from the start of the stream, i64 frame
// count); older and unversioned files store 8-byte entries (i32, i32),
// widened here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace mlr::reader {

struct IndexEntry {
  int64_t offset = 0;
  int64_t frames = 0;
};

// Entry width for a format version (16 from 0x30000 on, else 8; the unknown
// version 0xFFFFFFFF counts as old).
size_t IndexEntryWidth(uint32_t version);

// Decodes the entries from `data` (the bytes right after the count) for at
// most `count` entries; a count beyond the bytes ends the list.
std::vector<IndexEntry> DecodeIndexEntries(const uint8_t* data, size_t size, uint32_t count,
                                           size_t width);

// Offset repair of reduced streams written by old versions, whose offsets
// were counted from the end of the index: with n entries, header = 4 + 8n
// and expected = offset(n) + frames(n) * channels * 4; when the stream's
// size is exactly expected + header, every offset is moved on by header.
// Returns whether the offsets were moved. Apply only for unversioned files.
bool RepairReducedIndex(std::vector<IndexEntry>* index, uint32_t channels, uint64_t stream_size);

}  // namespace mlr::reader
