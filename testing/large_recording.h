// Large recordings for benchmarks: one group of `channels` analog channels
// (scaling raw x 1 + 0), one normset of `frames` frames at 10 us, and, when
// `reduction` is above 1, the reduced stream at that factor. The data
// streams are written block by block, so memory stays bounded whatever the
// size; sample (frame f, channel c) is LargeSample(f, c).
#pragma once

#include <cstdint>
#include <string>

#include "platform/win.h"

namespace mlr::testing {

int16_t LargeSample(uint64_t frame, uint32_t channel);

// Creates (replacing) the file `path`.
HRESULT WriteLargeRecording(const std::string& path, uint32_t channels, uint32_t frames,
                            uint32_t reduction);

}  // namespace mlr::testing
