// The inner loop of GetMuxData: picking requested channels out of a block of
// frames read from a "MuxData" stream.
//
// A block holds `frames` frames of `channels` channels, each channel's value
// being `values` little-endian int16 (1 at full rate, 2 for a reduced
// maximum/minimum pair). `picks` are 0-based channel positions in the frame,
// in the order asked; the output receives, frame after frame, the values of
// every pick (channels varying fastest). No allocation, no virtual call; the
// common case of every channel in frame order is one straight decode.
#pragma once

#include <cstddef>
#include <cstdint>

namespace mlr::reader {

// True when `picks` are all `channels` positions in frame order: the block
// then is the output as it stands, apart from byte order.
bool PicksAreIdentity(const uint32_t* picks, size_t pick_count, uint32_t channels);

// True when int16 values in memory are little-endian, so that a block of
// frames can be read straight into the output.
bool HostIsLittleEndian();

void CopyPickedChannels(const uint8_t* block, size_t frames, uint32_t channels, uint32_t values,
                        const uint32_t* picks, size_t pick_count, int16_t* out);

}  // namespace mlr::reader
