#include "reader/side_records.h"

#include <algorithm>

#include "reader/byte_reader.h"

namespace mlr::reader {

std::vector<VoicemarkRecord> DecodeVoicemarks(const uint8_t* data, size_t size) {
  std::vector<VoicemarkRecord> out;
  ByteReader in(data, size);
  uint32_t count = 0;
  if (!in.ReadU32(&count)) return out;
  for (uint32_t i = 0; i < count && in.remaining() >= kVoicemarkRecordSize; ++i) {
    VoicemarkRecord v;
    in.ReadU32(&v.unused);
    in.ReadU32(&v.stream_number);
    in.ReadU32(&v.samples_per_sec);
    in.ReadU32(&v.bits_per_sample);
    in.ReadU32(&v.channels);
    in.ReadU32(&v.length);
    in.ReadF64(&v.time);
    out.push_back(v);
  }
  return out;
}

std::vector<PhysicalChannelRecord> DecodePhysicalChannels(const uint8_t* data, size_t size) {
  std::vector<PhysicalChannelRecord> out;
  ByteReader in(data, size);
  while (in.remaining() >= kPhysicalChannelHeaderSize) {
    const size_t start = in.pos();
    uint32_t record_size = 0, unused = 0;
    PhysicalChannelRecord r;
    in.ReadU32(&record_size);
    in.ReadU32(&r.board);
    in.ReadU32(&r.channel);
    in.ReadU32(&r.kept);
    in.ReadU32(&r.storage_enabled);
    in.ReadU32(&unused);
    const size_t end = start + std::max<size_t>(kPhysicalChannelHeaderSize,
                                                std::min<size_t>(record_size, size - start));
    ByteReader names(data + in.pos(), end - in.pos());
    for (auto& name : r.names) {
      if (!names.ReadCString(&name)) break;
    }
    out.push_back(std::move(r));
    if (record_size < kPhysicalChannelHeaderSize || end - start < record_size) break;
    in.Seek(end);
  }
  return out;
}

}  // namespace mlr::reader
