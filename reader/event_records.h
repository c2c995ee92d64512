// The recording's event streams: "Markers01", "Bookmarks01", "Triggers01".
//
// Markers: u32 count n, then n records of (stream size - 4) / n bytes, each
// f64 Time, u32 flag, rest skipped; only records with a non-zero flag are
// markers. A count of 0, or a record size below the 12 bytes of Time and
// flag, gives no markers.
//
// Bookmarks: u32 count, then records back to back: f64 Time and a
// NUL-terminated UTF-16 text; the next record starts after the NUL. A text
// that runs into the end of the stream is taken as it stands and ends the
// list.
//
// Triggers: u32 count, then records: u32 record size, u32 source, f64 Time,
// i32 group index (1-based position in the recording's group list), u32
// channel number, NUL-terminated source name; the next record starts at the
// record's start + size. The name is read within the record. A record whose
// size is below its 24-byte header is taken and ends the list, since a size
// of 0 would otherwise repeat the same record for the whole count.
#pragma once

#include "platform/strings.h"
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace mlr::reader {

struct MarkerRecord {
  double time = 0;
};

struct BookmarkRecord {
  double time = 0;
  mlr::OleString text;
};

struct TriggerRecord {
  uint32_t source = 0;
  double time = 0;
  int32_t group_index = 0;
  uint32_t channel_number = 0;
  mlr::OleString name;
};

std::vector<MarkerRecord> DecodeMarkers(const uint8_t* data, size_t size);
std::vector<BookmarkRecord> DecodeBookmarks(const uint8_t* data, size_t size);
std::vector<TriggerRecord> DecodeTriggers(const uint8_t* data, size_t size);

}  // namespace mlr::reader
