// The offset between UTC and local time in force at the moment of the call,
// in seconds (UTC = local + bias), from the C library's zone (TZ honoured).
// Thread-safe.
#pragma once

#include "platform/win.h"

namespace mlr {

LONG CurrentUtcBiasSeconds();

}  // namespace mlr
