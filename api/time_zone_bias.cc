#include "api/time_zone_bias.h"

#include "platform/win.h"

namespace mlr {

int32_t TimeZoneBiasSeconds() {
  TIME_ZONE_INFORMATION zone{};
  LONG minutes;
  switch (GetTimeZoneInformation(&zone)) {
    case TIME_ZONE_ID_STANDARD:
      minutes = zone.Bias + zone.StandardBias;
      break;
    case TIME_ZONE_ID_DAYLIGHT:
      minutes = zone.Bias + zone.DaylightBias;
      break;
    default:
      minutes = zone.Bias;
      break;
  }
  return static_cast<int32_t>(minutes * 60);
}

}  // namespace mlr
