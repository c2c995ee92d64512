// A channel's "Intern01": tags 0 (name), 1 to 16 (names of event bits 1 to
// 16), 100 (vertical unit), 101 (present flag, default 1) and 102 (event
// flag). Unknown tags are skipped only when their length is below 10000
// (see group_config.h). A channel is an event channel when tag 102 is
// non-zero or any bit name is present; a channel whose present flag is 0 is
// left out of its group.
#pragma once

#include "platform/strings.h"
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "reader/krf_format.h"

namespace mlr::reader {

struct ChannelProperties {
  std::array<mlr::OleString, kNameCount> names;  // 0 the name, 1..16 bit names
  mlr::OleString y_units;
  uint32_t present = 1;
  uint32_t event_flag = 0;
  bool bit_name_seen = false;

  bool is_event() const { return event_flag != 0 || bit_name_seen; }
};

ChannelProperties DecodeChannelProperties(const uint8_t* data, size_t size);

}  // namespace mlr::reader
