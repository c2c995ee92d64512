#include "reader/group_config.h"

#include "reader/byte_reader.h"
#include "reader/krf_format.h"
#include "reader/tagged_records.h"

namespace mlr::reader {
namespace {

std::vector<uint32_t> ReadList(ByteReader& in, bool* terminated) {
  std::vector<uint32_t> out;
  uint32_t v = 0;
  *terminated = false;
  while (in.ReadU32(&v)) {
    if (v == kListEnd) {
      *terminated = true;
      break;
    }
    out.push_back(v);
  }
  return out;
}

}  // namespace

std::vector<uint32_t> DecodeGroupList(const uint8_t* data, size_t size) {
  ByteReader in(data, size);
  bool terminated;
  return ReadList(in, &terminated);
}

GroupConfig DecodeGroupConfig(const uint8_t* data, size_t size) {
  GroupConfig config;
  ByteReader list(data, size);
  config.channel_numbers = ReadList(list, &config.terminated);
  if (!config.terminated) return config;
  TaggedRecordWalker walk(data, size, list.pos());
  ByteReader& in = walk.in();
  while (walk.Next()) {
    if (walk.tag() == kTagReductionFactor) {
      uint32_t f = 0;
      if (!in.ReadU32(&f)) break;
      config.reduction_factor = f == 0 ? 1 : f;
    } else if (walk.length() < kUnknownRecordSkipLimit) {
      if (!in.Skip(walk.length())) break;
    }
  }
  return config;
}

}  // namespace mlr::reader
