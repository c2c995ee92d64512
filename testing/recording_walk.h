// Walking a whole recording through its interfaces: every collection, every
// item, and a bounded amount of data from every group and voice mark. Used
// by the reader's fuzz target and by tests that only need "no crash, no
// leak, clean statuses". Returns the number of values touched (so that the
// work cannot be optimised away).
#pragma once

#include <cstdint>

#include "LegacyRecording.h"

namespace mlr::testing {

uint64_t WalkRecording(IRecording* recording);

}  // namespace mlr::testing
