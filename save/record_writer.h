// Building the saver's small streams in memory and writing them: a
// little-endian record builder (integers, doubles, UTF-16LE text with its NUL,
// tagged records) and the creation of a stream that receives the bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/win.h"
#include "platform/strings.h"

namespace mlr::save {

class RecordBuilder {
 public:
  RecordBuilder& U16(uint16_t v) { return Put(v, 2); }
  RecordBuilder& U32(uint32_t v) { return Put(v, 4); }
  RecordBuilder& I32(int32_t v) { return Put(static_cast<uint32_t>(v), 4); }
  RecordBuilder& U64(uint64_t v) { return Put(v, 8); }
  RecordBuilder& F64(double v);
  // The characters, then one NUL character.
  RecordBuilder& Text(const mlr::OleString& text);
  RecordBuilder& Zeros(size_t n) {
    bytes_.insert(bytes_.end(), n, 0);
    return *this;
  }

  // Tagged records: u16 tag, u32 payload length, payload.
  RecordBuilder& TagU32(uint16_t tag, uint32_t v) { return U16(tag).U32(4).U32(v); }
  RecordBuilder& TagF64(uint16_t tag, double v) { return U16(tag).U32(8).F64(v); }
  RecordBuilder& TagText(uint16_t tag, const mlr::OleString& text);

  const std::vector<uint8_t>& bytes() const { return bytes_; }
  size_t size() const { return bytes_.size(); }

 private:
  RecordBuilder& Put(uint64_t v, int width) {
    for (int i = 0; i < width; ++i) bytes_.push_back(static_cast<uint8_t>(v >> (8 * i)));
    return *this;
  }
  std::vector<uint8_t> bytes_;
};

// Stream creation mode of the saver: STGM_CREATE | STGM_SHARE_EXCLUSIVE |
// STGM_WRITE; storages add STGM_READWRITE instead of STGM_WRITE.
inline constexpr DWORD kSaveStreamMode = 0x1011;
inline constexpr DWORD kSaveStorageMode = 0x1012;

// Writes all of `bytes` at the stream's current position: S_OK, the
// stream's failure, or STG_E_MEDIUMFULL for a short write.
HRESULT WriteAll(IStream* stream, const void* bytes, size_t size);

// Creates `name` in `storage` (kSaveStreamMode) and writes `bytes` into it.
HRESULT WriteNewStream(IStorage* storage, const mlr::OleString& name,
                       const std::vector<uint8_t>& bytes);

}  // namespace mlr::save
