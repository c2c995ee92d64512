#include "platform/strings.h"
#include "reader/channel_properties.h"

#include "reader/byte_reader.h"
#include "reader/tagged_records.h"

namespace mlr::reader {

ChannelProperties DecodeChannelProperties(const uint8_t* data, size_t size) {
  ChannelProperties p;
  TaggedRecordWalker walk(data, size);
  ByteReader& in = walk.in();
  while (walk.Next()) {
    const uint16_t tag = walk.tag();
    if (tag < kNameCount || tag == kTagYUnits) {
      if (walk.length() > in.remaining()) break;
      mlr::OleString text = DecodeStringPayload(in.here(), walk.length());
      in.Skip(walk.length());
      if (tag == kTagYUnits) {
        p.y_units = std::move(text);
      } else {
        p.names[tag] = std::move(text);
        if (tag >= 1) p.bit_name_seen = true;
      }
    } else if (tag == kTagPresent || tag == kTagEventChannel) {
      uint32_t v = 0;
      if (!in.ReadU32(&v)) break;
      (tag == kTagPresent ? p.present : p.event_flag) = v;
    } else if (walk.length() < kUnknownRecordSkipLimit) {
      if (!in.Skip(walk.length())) break;
    }
  }
  return p;
}

}  // namespace mlr::reader
