// The recording's properties from "Data/Intern01" and the version stamp that
// the upgrade of old files writes into that stream.
//
// Decoding rules (`DecodeRecordingProperties`):
// - tags 2 (XUnits, string), 3/4/5 (local year, day, time of day), 7 (time
//   per division hint), 8/9/10 (UTC year, day, time of day), 20 (version);
//   tags 1 and 6 are read as u32 and ignored; other tags are skipped by their
//   length. A known numeric tag is read with its own width whatever its
//   stored length says, as the file's writers always wrote that width.
// - once any of tags 8 to 10 has been seen, later tags 3 to 5 are ignored
//   and the start is UTC; the date fields are shared, so a tag 8 after tags
//   3 to 5 turns the earlier day and time into UTC values as well.
// - a stored year of 0xFFFFFFFF resets year, day and time to the defaults
//   (1999, 201, 43200.0).
// - tag 20 with length 4 sets the version only while it is still unknown; a
//   tag 20 of another length sets 0x20000 whatever was known, and its payload
//   is not skipped: the next record is read from the payload's first byte.
//   The version stamp rewrites such a record.
// - the walk ends silently at the terminator, the end of the stream or a
//   record that cannot be read whole; what was read before is kept.
#pragma once

#include "platform/strings.h"
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "reader/krf_format.h"

namespace mlr::reader {

struct RecordingProperties {
  mlr::OleString x_units;
  int32_t year = kDefaultYear;
  int32_t day = kDefaultDay;
  double time_of_day = kDefaultTimeOfDay;
  bool utc = false;  // year/day/time_of_day are UTC (else local time)
  double time_per_division = kDefaultTimePerDivision;
  uint32_t version = kVersionUnknown;
};

// `initial_version` is the version known before the stream is read (the
// conversion path knows 0x30000).
RecordingProperties DecodeRecordingProperties(const uint8_t* data, size_t size,
                                              uint32_t initial_version = kVersionUnknown);

// One in-place write into "Intern01" that stamps the version 0x20000.
struct VersionStamp {
  size_t offset = 0;            // where `bytes` go
  std::vector<uint8_t> bytes;   // what is written there
  bool appended = false;        // no tag 20 was found: a record was appended
};

// The stamp for the stream's current bytes: with a tag 20 present, its
// length is set to 4 (when it is not), its payload to 0x20000 and a
// terminator follows it, cutting off later records; otherwise a tag 20
// record and a terminator replace the terminator, or are appended at the
// end of the bytes when the walk ended without one.
VersionStamp PlanVersionStamp(const uint8_t* data, size_t size);

}  // namespace mlr::reader
