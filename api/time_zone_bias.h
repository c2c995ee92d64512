// The local time offset of recording-time conversions: UTC minus local time,
// in seconds (UTC = local time + bias), as in force at the moment of the call
// (daylight saving included when it is in effect now). It honours the
// process's time-zone setting (TZ on POSIX) as read by the platform.
// Thread-safe; no state.
#pragma once

#include <cstdint>

namespace mlr {

int32_t TimeZoneBiasSeconds();

}  // namespace mlr
