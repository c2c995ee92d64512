// The voice-mark table ("Voicemarks/Intern01") and the physical-channel
// configuration ("PhysicalChannelInfo").
//
// Voice marks: u32 count, then 32-byte records (u32 unused, u32 stream
// number v of "Voicemark<v>", u32 SamplesPerSec, u32 BitsPerSample, u32
// Channels, u32 Length in samples per channel, f64 Time). A record that
// cannot be read whole ends the table.
//
// Physical channels: records back to back until a 24-byte header cannot be
// read whole: u32 record size (header included), u32 Board, u32 Channel,
// u32 kept, u32 StorageEnabled, u32 unused, then 17 NUL-terminated strings
// (the channel name, the names of bits 1 to 16) within the record; names
// that the record does not hold are empty. A record whose size is below its
// header is taken and ends the list (a size of 0 would never move on).
#pragma once

#include "platform/strings.h"
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "reader/krf_format.h"

namespace mlr::reader {

struct VoicemarkRecord {
  uint32_t unused = 0;
  uint32_t stream_number = 0;
  uint32_t samples_per_sec = 0;
  uint32_t bits_per_sample = 0;
  uint32_t channels = 0;
  uint32_t length = 0;
  double time = 0;
};

struct PhysicalChannelRecord {
  uint32_t board = 0;
  uint32_t channel = 0;
  uint32_t kept = 0;
  uint32_t storage_enabled = 0;
  std::array<mlr::OleString, kNameCount> names;
};

std::vector<VoicemarkRecord> DecodeVoicemarks(const uint8_t* data, size_t size);
std::vector<PhysicalChannelRecord> DecodePhysicalChannels(const uint8_t* data, size_t size);

}  // namespace mlr::reader
