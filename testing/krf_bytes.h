// Byte-for-byte encoders of the legacy recording file's streams, for tests,
// tools, fuzz seeds and benchmarks. Written independently of the reader's
// decoders so that tests of one check the other.
//
// `Bytes` is a growable little-endian writer. `TaggedRecords` writes the
// tagged-record streams (u16 tag, u32 length, payload, ..., u16 0xFFFF);
// strings are written as UTF-16LE with the NUL counted in the length.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace mlr::testing {

class Bytes {
 public:
  Bytes& U16(uint16_t v);
  Bytes& U32(uint32_t v);
  Bytes& I32(int32_t v) { return U32(static_cast<uint32_t>(v)); }
  Bytes& U64(uint64_t v);
  Bytes& I64(int64_t v) { return U64(static_cast<uint64_t>(v)); }
  Bytes& F64(double v);
  Bytes& I16(int16_t v) { return U16(static_cast<uint16_t>(v)); }
  Bytes& Text(const std::u16string& s);  // characters, then a NUL
  Bytes& Raw(const std::vector<uint8_t>& b);
  Bytes& Zeros(size_t n);

  const std::vector<uint8_t>& data() const { return data_; }
  std::vector<uint8_t> take() { return std::move(data_); }
  size_t size() const { return data_.size(); }

 private:
  std::vector<uint8_t> data_;
};

class TaggedRecords {
 public:
  TaggedRecords& U32(uint16_t tag, uint32_t v);
  TaggedRecords& F64(uint16_t tag, double v);
  TaggedRecords& Text(uint16_t tag, const std::u16string& s);
  // A record with an arbitrary declared length and payload.
  TaggedRecords& Raw(uint16_t tag, uint32_t length, const std::vector<uint8_t>& payload);
  TaggedRecords& End();  // the 0xFFFF terminator
  std::vector<uint8_t> take() { return out_.take(); }

 private:
  Bytes out_;
};

// u32 list, optionally ended by 0xFFFFFFFF.
std::vector<uint8_t> EncodeU32List(const std::vector<uint32_t>& values, bool terminate);

struct HNormSpec {
  double start_time = 0;
  double x_step = 1;
  uint32_t length = 0;
};
struct VNormSpec {
  double start_time = 0;
  double y0 = 0;
  double y_step = 1;
};
std::vector<uint8_t> EncodeHNorms(const std::vector<HNormSpec>& rows);
std::vector<uint8_t> EncodeVNorms(const std::vector<VNormSpec>& rows);

// A "MuxData" stream: `segments[i]` holds the frames of segment i, channel
// values interleaved (`values_per_frame` int16 each). Offsets count from the
// start of the stream; `wide` selects 16-byte index entries (version 0x30000
// and later). `old_reduced_offsets` writes the offsets as old recorders did
// for reduced streams: counted from the end of the index.
std::vector<uint8_t> EncodeMuxData(const std::vector<std::vector<int16_t>>& segments,
                                   size_t values_per_frame, bool wide,
                                   bool old_reduced_offsets = false);

// Min/max reduction of interleaved frames: per channel (maximum, minimum),
// or (OR, AND) for the channels flagged as events, over each run of `factor`
// frames (the last run may be shorter).
std::vector<int16_t> ReduceFrames(const std::vector<int16_t>& frames, size_t channels,
                                  const std::vector<bool>& is_event, uint32_t factor);

struct MarkerSpec {
  double time = 0;
  uint32_t flag = 1;
};
// `record_size` >= 12: Time, flag, then zero padding.
std::vector<uint8_t> EncodeMarkers(const std::vector<MarkerSpec>& markers, size_t record_size = 16);

struct BookmarkSpec {
  double time = 0;
  std::u16string text;
};
std::vector<uint8_t> EncodeBookmarks(const std::vector<BookmarkSpec>& bookmarks);

struct TriggerSpec {
  uint32_t source = 0;
  double time = 0;
  int32_t group_index = 0;
  uint32_t channel_number = 0;
  std::u16string name;
};
std::vector<uint8_t> EncodeTriggers(const std::vector<TriggerSpec>& triggers);

struct VoicemarkSpec {
  uint32_t stream_number = 0;
  uint32_t samples_per_sec = 8000;
  uint32_t bits_per_sample = 8;
  uint32_t channels = 1;
  double time = 0;
  std::vector<uint8_t> sound;  // interleaved frames; Length = frames
};
std::vector<uint8_t> EncodeVoicemarkTable(const std::vector<VoicemarkSpec>& marks);
uint32_t VoicemarkLength(const VoicemarkSpec& mark);

struct PhysicalChannelSpec {
  uint32_t board = 0;
  uint32_t channel = 0;
  uint32_t kept = 0;
  uint32_t storage_enabled = 1;
  std::vector<std::u16string> names;  // name, then bit names (up to 17)
};
std::vector<uint8_t> EncodePhysicalChannels(const std::vector<PhysicalChannelSpec>& channels);

}  // namespace mlr::testing
