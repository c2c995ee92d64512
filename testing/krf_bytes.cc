#include "testing/krf_bytes.h"

#include <algorithm>

#include "testing/float_bits.h"

namespace mlr::testing {

Bytes& Bytes::U16(uint16_t v) {
  data_.push_back(static_cast<uint8_t>(v));
  data_.push_back(static_cast<uint8_t>(v >> 8));
  return *this;
}
Bytes& Bytes::U32(uint32_t v) {
  for (int i = 0; i < 4; ++i) data_.push_back(static_cast<uint8_t>(v >> (8 * i)));
  return *this;
}
Bytes& Bytes::U64(uint64_t v) {
  for (int i = 0; i < 8; ++i) data_.push_back(static_cast<uint8_t>(v >> (8 * i)));
  return *this;
}
Bytes& Bytes::F64(double v) {
  return U64(Bits(v));
}
Bytes& Bytes::Text(const std::u16string& s) {
  for (char16_t c : s) U16(c);
  return U16(0);
}
Bytes& Bytes::Raw(const std::vector<uint8_t>& b) {
  data_.insert(data_.end(), b.begin(), b.end());
  return *this;
}
Bytes& Bytes::Zeros(size_t n) {
  data_.insert(data_.end(), n, 0);
  return *this;
}

TaggedRecords& TaggedRecords::U32(uint16_t tag, uint32_t v) {
  out_.U16(tag).U32(4).U32(v);
  return *this;
}
TaggedRecords& TaggedRecords::F64(uint16_t tag, double v) {
  out_.U16(tag).U32(8).F64(v);
  return *this;
}
TaggedRecords& TaggedRecords::Text(uint16_t tag, const std::u16string& s) {
  out_.U16(tag).U32(static_cast<uint32_t>((s.size() + 1) * 2)).Text(s);
  return *this;
}
TaggedRecords& TaggedRecords::Raw(uint16_t tag, uint32_t length,
                                  const std::vector<uint8_t>& payload) {
  out_.U16(tag).U32(length).Raw(payload);
  return *this;
}
TaggedRecords& TaggedRecords::End() {
  out_.U16(0xFFFF);
  return *this;
}

std::vector<uint8_t> EncodeU32List(const std::vector<uint32_t>& values, bool terminate) {
  Bytes b;
  for (uint32_t v : values) b.U32(v);
  if (terminate) b.U32(0xFFFFFFFF);
  return b.take();
}

std::vector<uint8_t> EncodeHNorms(const std::vector<HNormSpec>& rows) {
  Bytes b;
  b.U32(static_cast<uint32_t>(rows.size()));
  for (const auto& r : rows) b.F64(r.start_time).F64(r.x_step).U32(r.length);
  return b.take();
}

std::vector<uint8_t> EncodeVNorms(const std::vector<VNormSpec>& rows) {
  Bytes b;
  b.U32(static_cast<uint32_t>(rows.size()));
  for (const auto& r : rows) b.F64(r.start_time).F64(r.y0).F64(r.y_step);
  return b.take();
}

std::vector<uint8_t> EncodeMuxData(const std::vector<std::vector<int16_t>>& segments,
                                   size_t values_per_frame, bool wide, bool old_reduced_offsets) {
  Bytes b;
  const size_t n = segments.size();
  const size_t header = 4 + n * (wide ? 16 : 8);
  b.U32(static_cast<uint32_t>(n));
  uint64_t offset = old_reduced_offsets ? 0 : header;
  for (const auto& seg : segments) {
    const uint64_t frames = values_per_frame ? seg.size() / values_per_frame : 0;
    if (wide) {
      b.U64(offset).U64(frames);
    } else {
      b.U32(static_cast<uint32_t>(offset)).U32(static_cast<uint32_t>(frames));
    }
    offset += seg.size() * 2;
  }
  for (const auto& seg : segments) {
    for (int16_t v : seg) b.I16(v);
  }
  return b.take();
}

std::vector<int16_t> ReduceFrames(const std::vector<int16_t>& frames, size_t channels,
                                  const std::vector<bool>& is_event, uint32_t factor) {
  std::vector<int16_t> out;
  if (channels == 0 || factor == 0) return out;
  const size_t count = frames.size() / channels;
  for (size_t start = 0; start < count; start += factor) {
    const size_t end = std::min<size_t>(count, start + factor);
    for (size_t c = 0; c < channels; ++c) {
      const bool event = c < is_event.size() && is_event[c];
      int16_t hi = frames[start * channels + c], lo = hi;
      for (size_t f = start + 1; f < end; ++f) {
        const int16_t v = frames[f * channels + c];
        if (event) {
          hi = static_cast<int16_t>(hi | v);
          lo = static_cast<int16_t>(lo & v);
        } else {
          hi = std::max(hi, v);
          lo = std::min(lo, v);
        }
      }
      out.push_back(hi);
      out.push_back(lo);
    }
  }
  return out;
}

std::vector<uint8_t> EncodeMarkers(const std::vector<MarkerSpec>& markers, size_t record_size) {
  Bytes b;
  b.U32(static_cast<uint32_t>(markers.size()));
  for (const auto& m : markers) {
    b.F64(m.time).U32(m.flag);
    b.Zeros(record_size > 12 ? record_size - 12 : 0);
  }
  return b.take();
}

std::vector<uint8_t> EncodeBookmarks(const std::vector<BookmarkSpec>& bookmarks) {
  Bytes b;
  b.U32(static_cast<uint32_t>(bookmarks.size()));
  for (const auto& m : bookmarks) b.F64(m.time).Text(m.text);
  return b.take();
}

std::vector<uint8_t> EncodeTriggers(const std::vector<TriggerSpec>& triggers) {
  Bytes b;
  b.U32(static_cast<uint32_t>(triggers.size()));
  for (const auto& t : triggers) {
    const uint32_t size = static_cast<uint32_t>(24 + (t.name.size() + 1) * 2);
    b.U32(size).U32(t.source).F64(t.time).I32(t.group_index).U32(t.channel_number).Text(t.name);
  }
  return b.take();
}

uint32_t VoicemarkLength(const VoicemarkSpec& mark) {
  const uint32_t frame = mark.channels * ((mark.bits_per_sample - 1) / 8 + 1);
  return frame ? static_cast<uint32_t>(mark.sound.size() / frame) : 0;
}

std::vector<uint8_t> EncodeVoicemarkTable(const std::vector<VoicemarkSpec>& marks) {
  Bytes b;
  b.U32(static_cast<uint32_t>(marks.size()));
  for (const auto& m : marks) {
    b.U32(0).U32(m.stream_number).U32(m.samples_per_sec).U32(m.bits_per_sample);
    b.U32(m.channels).U32(VoicemarkLength(m)).F64(m.time);
  }
  return b.take();
}

std::vector<uint8_t> EncodePhysicalChannels(const std::vector<PhysicalChannelSpec>& channels) {
  Bytes b;
  for (const auto& p : channels) {
    Bytes names;
    for (size_t i = 0; i < 17; ++i) names.Text(i < p.names.size() ? p.names[i] : u"");
    b.U32(static_cast<uint32_t>(24 + names.size())).U32(p.board).U32(p.channel).U32(p.kept);
    b.U32(p.storage_enabled).U32(0).Raw(names.data());
  }
  return b.take();
}

}  // namespace mlr::testing
