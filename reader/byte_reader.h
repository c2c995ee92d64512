// Little-endian decoding of the recording file's streams.
//
// `ByteReader` is a cursor over a borrowed byte buffer (the caller keeps the
// buffer alive while the reader is used). Every `Read...` either consumes the
// whole value and returns true, or consumes nothing and returns false: a
// short read leaves the cursor where it was, so a list decoder simply stops.
// Values are assembled from bytes, never by casting a struct over the buffer.
// Not thread-safe; one cursor per decoding pass.
#pragma once

#include "platform/strings.h"
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace mlr::reader {

inline uint16_t LoadU16(const uint8_t* p) {
  return static_cast<uint16_t>(p[0] | (p[1] << 8));
}
inline uint32_t LoadU32(const uint8_t* p) {
  return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
         (static_cast<uint32_t>(p[2]) << 16) | (static_cast<uint32_t>(p[3]) << 24);
}
inline uint64_t LoadU64(const uint8_t* p) {
  return static_cast<uint64_t>(LoadU32(p)) | (static_cast<uint64_t>(LoadU32(p + 4)) << 32);
}
inline int32_t LoadI32(const uint8_t* p) { return static_cast<int32_t>(LoadU32(p)); }
inline int64_t LoadI64(const uint8_t* p) { return static_cast<int64_t>(LoadU64(p)); }
inline double LoadF64(const uint8_t* p) {
  uint64_t bits = LoadU64(p);
  double d = 0;
  std::memcpy(&d, &bits, sizeof d);
  return d;
}

inline void StoreU16(uint8_t* p, uint16_t v) {
  p[0] = static_cast<uint8_t>(v);
  p[1] = static_cast<uint8_t>(v >> 8);
}
inline void StoreU32(uint8_t* p, uint32_t v) {
  for (int i = 0; i < 4; ++i) p[i] = static_cast<uint8_t>(v >> (8 * i));
}
inline void StoreU64(uint8_t* p, uint64_t v) {
  for (int i = 0; i < 8; ++i) p[i] = static_cast<uint8_t>(v >> (8 * i));
}
inline void StoreF64(uint8_t* p, double d) {
  uint64_t bits;
  std::memcpy(&bits, &d, sizeof bits);
  StoreU64(p, bits);
}

class ByteReader {
 public:
  ByteReader(const uint8_t* data, size_t size) : data_(data), size_(size) {}

  size_t pos() const { return pos_; }
  size_t size() const { return size_; }
  size_t remaining() const { return size_ - pos_; }
  const uint8_t* here() const { return data_ + pos_; }

  // Moves to `pos`; false (and no move) when `pos` lies beyond the end.
  bool Seek(size_t pos) {
    if (pos > size_) return false;
    pos_ = pos;
    return true;
  }
  bool Skip(uint64_t n) {
    if (n > remaining()) return false;
    pos_ += static_cast<size_t>(n);
    return true;
  }

  bool ReadU16(uint16_t* v) { return Take(2) ? (*v = LoadU16(last_), true) : false; }
  bool ReadU32(uint32_t* v) { return Take(4) ? (*v = LoadU32(last_), true) : false; }
  bool ReadI32(int32_t* v) { return Take(4) ? (*v = LoadI32(last_), true) : false; }
  bool ReadI64(int64_t* v) { return Take(8) ? (*v = LoadI64(last_), true) : false; }
  bool ReadF64(double* v) { return Take(8) ? (*v = LoadF64(last_), true) : false; }

  // A NUL-terminated UTF-16LE string. The text ends at the NUL, which is
  // consumed; a string that runs into the end of the buffer (no NUL) is
  // taken whole and the cursor stops at the end. Returns false only when not
  // even one whole character is left.
  bool ReadCString(mlr::OleString* text) {
    text->clear();
    if (remaining() < 2) return false;
    while (remaining() >= 2) {
      OLECHAR c = static_cast<OLECHAR>(LoadU16(data_ + pos_));
      pos_ += 2;
      if (c == 0) return true;
      text->push_back(c);
    }
    return true;
  }

 private:
  bool Take(size_t n) {
    if (n > remaining()) return false;
    last_ = data_ + pos_;
    pos_ += n;
    return true;
  }

  const uint8_t* data_;
  size_t size_;
  size_t pos_ = 0;
  const uint8_t* last_ = nullptr;
};

// A string payload of `length` bytes: UTF-16LE characters, taken up to the
// first NUL (the payload holds length / 2 + 1 characters' room, zero-filled,
// so a payload without NUL still ends). An odd last byte is the low byte of
// one more character.
inline mlr::OleString DecodeStringPayload(const uint8_t* p, size_t length) {
  mlr::OleString text;
  text.reserve(length / 2);
  for (size_t i = 0; i < length; i += 2) {
    uint16_t lo = p[i];
    uint16_t hi = i + 1 < length ? p[i + 1] : 0;
    OLECHAR c = static_cast<OLECHAR>(lo | (hi << 8));
    if (c == 0) break;
    text.push_back(c);
  }
  return text;
}

}  // namespace mlr::reader
