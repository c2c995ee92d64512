// A channel group's "Config01": u32 channel numbers ended by 0xFFFFFFFF,
// then (only when that terminator was read) tagged records of which the
// group knows one, 0x4000, the reduction factor of its reduced stream.
//
// Unknown records are skipped only when their length is below 10000; a
// longer one is not skipped and the walk goes on from its payload's first
// byte, as the file's readers always did. A stored reduction factor of 0
// would divide by zero everywhere the factor is used, so it reads as 1
// (no reduced stream), the same as an absent factor.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace mlr::reader {

struct GroupConfig {
  std::vector<uint32_t> channel_numbers;  // in list order, before dropping absent channels
  bool terminated = false;                // the 0xFFFFFFFF terminator was read
  uint32_t reduction_factor = 1;
};

GroupConfig DecodeGroupConfig(const uint8_t* data, size_t size);

// The recording's "Config01": u32 group numbers ended by 0xFFFFFFFF or by the
// end of the stream.
std::vector<uint32_t> DecodeGroupList(const uint8_t* data, size_t size);

}  // namespace mlr::reader
