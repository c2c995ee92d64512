// Reading the recording's small streams whole, through IStream.
//
// Side streams (properties, configuration, normsets, event lists, voice-mark
// tables, display blobs) are read whole from offset 0 into memory and then
// decoded; the bulk data ("MuxData") is never read this way. A stream larger
// than `kMaxSideStreamBytes` is read up to that size only: no such stream of
// a real recording comes near it, and a damaged size cannot make the reader
// allocate more. Threading: the caller serialises use of the stream.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/win.h"
#include "platform/strings.h"

namespace mlr::reader {

inline constexpr size_t kMaxSideStreamBytes = 256u << 20;

// Reads `stream` from its start until a read returns fewer bytes than asked.
// S_OK with what was read (possibly nothing); the read or seek failure
// otherwise, `out` holding what was read before it.
HRESULT ReadWholeStream(IStream* stream, std::vector<uint8_t>* out);

// Opens `name` in `storage` with `mode` and reads it whole. False (and
// `out` empty) when the stream cannot be opened.
bool ReadNamedStream(IStorage* storage, const mlr::OleString& name, DWORD mode,
                     std::vector<uint8_t>* out);

// Seeks `stream` to `offset` from its start.
HRESULT SeekTo(IStream* stream, uint64_t offset);

// Reads up to `size` bytes at the current position, looping over partial
// reads; `*got` is the number of bytes read (short at the end of the stream).
HRESULT ReadFully(IStream* stream, void* buffer, size_t size, size_t* got);

// The stream's size from Stat (0 when Stat fails).
uint64_t StreamSize(IStream* stream);

}  // namespace mlr::reader
