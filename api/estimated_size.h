// The per-group part of GetEstimatedTotalSize (see estimated_size.cc for
// the byte counts and choices): the bytes one channel group's data between
// `start` and `end` (seconds since the recording's start, neither void) is
// estimated to take. Reads the group through its interfaces only and
// releases every reference it takes; thread-safe as far as the group is.
#pragma once

#include <cstdint>

#include "LegacyRecording.h"

namespace mlr {

int64_t EstimatedGroupBytes(IChannelGroup* group, double start, double end);

}  // namespace mlr
