#include "reader/recording_properties.h"

#include "reader/byte_reader.h"
#include "reader/tagged_records.h"

namespace mlr::reader {
namespace {

void ResetStart(RecordingProperties* p) {
  p->year = kDefaultYear;
  p->day = kDefaultDay;
  p->time_of_day = kDefaultTimeOfDay;
}

}  // namespace

RecordingProperties DecodeRecordingProperties(const uint8_t* data, size_t size,
                                              uint32_t initial_version) {
  RecordingProperties p;
  p.version = initial_version;
  TaggedRecordWalker walk(data, size);
  ByteReader& in = walk.in();
  while (walk.Next()) {
    const uint16_t tag = walk.tag();
    uint32_t u = 0;
    double d = 0;
    switch (tag) {
      case kTagXUnits:
        if (walk.length() > in.remaining()) return p;
        p.x_units = DecodeStringPayload(in.here(), walk.length());
        in.Skip(walk.length());
        break;
      case kTagIgnored1:
      case kTagIgnored6:
        if (!in.ReadU32(&u)) return p;
        break;
      case kTagLocalYear:
      case kTagUtcYear:
        if (!in.ReadU32(&u)) return p;
        if (tag == kTagLocalYear && p.utc) break;
        if (tag == kTagUtcYear) p.utc = true;
        if (u == 0xFFFFFFFF) {
          ResetStart(&p);
        } else {
          p.year = static_cast<int32_t>(u);
        }
        break;
      case kTagLocalDay:
      case kTagUtcDay:
        if (!in.ReadU32(&u)) return p;
        if (tag == kTagLocalDay && p.utc) break;
        if (tag == kTagUtcDay) p.utc = true;
        p.day = static_cast<int32_t>(u);
        break;
      case kTagLocalTimeOfDay:
      case kTagUtcTimeOfDay:
        if (!in.ReadF64(&d)) return p;
        if (tag == kTagLocalTimeOfDay && p.utc) break;
        if (tag == kTagUtcTimeOfDay) p.utc = true;
        p.time_of_day = d;
        break;
      case kTagTimePerDivision:
        if (!in.ReadF64(&d)) return p;
        p.time_per_division = d;
        break;
      case kTagVersion:
        if (walk.length() == 4) {
          if (!in.ReadU32(&u)) return p;
          if (p.version == kVersionUnknown) p.version = u;
        } else {
          p.version = kVersionStamped;  // payload deliberately not skipped
        }
        break;
      default:
        if (!in.Skip(walk.length())) return p;
        break;
    }
  }
  return p;
}

VersionStamp PlanVersionStamp(const uint8_t* data, size_t size) {
  VersionStamp stamp;
  TaggedRecordWalker walk(data, size);
  ByteReader& in = walk.in();
  bool ok = true;
  while ((ok = walk.Next())) {
    if (walk.tag() == kTagVersion) break;
    // The other records are stepped over by their length: the stamp only
    // needs to find tag 20 or the end.
    if (!in.Skip(walk.length())) {
      walk.Truncated();
      ok = false;
      break;
    }
  }
  if (ok) {  // found tag 20
    size_t at = walk.record_pos() + 2;
    if (walk.length() != 4) {
      stamp.bytes = {4, 0, 0, 0};
    } else {
      at += 4;
    }
    stamp.offset = at;
    const size_t head = stamp.bytes.size();
    stamp.bytes.resize(head + 6);
    StoreU32(stamp.bytes.data() + head, kVersionStamped);
    StoreU16(stamp.bytes.data() + head + 4, kEndTag);
    return stamp;
  }
  stamp.appended = true;
  stamp.offset = walk.end() == TaggedRecordWalker::End::kTerminator ? walk.end_pos() : size;
  stamp.bytes.resize(12);
  StoreU16(stamp.bytes.data(), kTagVersion);
  StoreU32(stamp.bytes.data() + 2, 4);
  StoreU32(stamp.bytes.data() + 6, kVersionStamped);
  StoreU16(stamp.bytes.data() + 10, kEndTag);
  return stamp;
}

}  // namespace mlr::reader
