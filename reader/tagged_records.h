// Walking the tagged-record streams of a recording: a recording's
// "Intern01", a channel's "Intern01" and the tail of a group's "Config01".
//
// A record is u16 tag, u32 payload length, payload. The walk ends at tag
// 0xFFFF (which has no length), at the end of the bytes, or at a record that
// cannot be read whole. Decoders built on `TaggedRecordWalker` read the
// payloads of the tags they know with the widths the layout gives them and
// decide themselves how far to move past the others.
#pragma once

#include <cstddef>
#include <cstdint>

#include "reader/byte_reader.h"

namespace mlr::reader {

class TaggedRecordWalker {
 public:
  enum class End { kNone, kTerminator, kStreamEnd };

  TaggedRecordWalker(const uint8_t* data, size_t size, size_t start = 0) : in_(data, size) {
    in_.Seek(start);
  }

  // Reads the next record header. False when the walk has ended; `end()`
  // then says how, and `end_pos()` where (the terminator's first byte, or
  // the end of what could be read).
  bool Next() {
    uint16_t tag = 0;
    size_t at = in_.pos();
    if (!in_.ReadU16(&tag)) return Finish(End::kStreamEnd, in_.size());
    if (tag == 0xFFFF) return Finish(End::kTerminator, at);
    uint32_t length = 0;
    if (!in_.ReadU32(&length)) return Finish(End::kStreamEnd, in_.size());
    tag_ = tag;
    length_ = length;
    record_pos_ = at;
    return true;
  }

  uint16_t tag() const { return tag_; }
  uint32_t length() const { return length_; }
  size_t record_pos() const { return record_pos_; }
  End end() const { return end_; }
  size_t end_pos() const { return end_pos_; }

  // The payload cursor: positioned right after the length field.
  ByteReader& in() { return in_; }

  // Marks the walk as ended by a short payload read.
  bool Truncated() { return Finish(End::kStreamEnd, in_.size()); }

 private:
  bool Finish(End end, size_t pos) {
    end_ = end;
    end_pos_ = pos;
    return false;
  }

  ByteReader in_;
  uint16_t tag_ = 0;
  uint32_t length_ = 0;
  size_t record_pos_ = 0;
  End end_ = End::kNone;
  size_t end_pos_ = 0;
};

}  // namespace mlr::reader
