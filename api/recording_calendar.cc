#include "api/recording_calendar.h"

#include <cmath>
#include <limits>

namespace mlr::recording_time {
namespace {

constexpr uint16_t kCommonYear[13] = {0,   31,  59,  90,  120, 151, 181,
                                      212, 243, 273, 304, 334, 365};
constexpr uint16_t kLeapYear[13] = {0,   31,  60,  91,  121, 152, 182,
                                    213, 244, 274, 305, 335, 366};

// Integer division rounding toward minus infinity.
int64_t FloorDiv(int64_t a, int64_t b) {
  int64_t q = a / b;
  if ((a % b != 0) && ((a < 0) != (b < 0))) --q;
  return q;
}

// Beyond this many seconds the year leaves the 32-bit range whatever the
// year and day it starts from (2^32 years and 2^31 days are less than
// 1.36e17 seconds), so larger times are refused before any day count is
// formed. Up to here the whole days times 86400 are exact doubles.
constexpr double kMaxSeconds = 2e17;

}  // namespace

bool IsLeapYear(int64_t year) {
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

int32_t YearLength(int64_t year) { return IsLeapYear(year) ? 366 : 365; }

const uint16_t* CumulativeMonthDays(int64_t year) {
  return IsLeapYear(year) ? kLeapYear : kCommonYear;
}

int64_t DaysBeforeYear(int64_t year) {
  // Leap years in [0, year): year 0 is one, so each count rounds up.
  return 365 * year + FloorDiv(year + 3, 4) - FloorDiv(year + 99, 100) +
         FloorDiv(year + 399, 400);
}

bool Normalise(int32_t& year, int32_t& day, double& time) {
  if (std::isinf(time) || std::fabs(time) > kMaxSeconds) return false;
  int64_t y = year;
  int64_t d = day;
  double t = time;

  if (t >= kSecondsPerDay || t < 0.0) {
    // Move whole days at once; the products and the difference are exact in
    // this range, so the result equals moving one day at a time.
    const double whole = std::floor(t / kSecondsPerDay);
    t -= whole * kSecondsPerDay;
    d += static_cast<int64_t>(whole);
  }
  // The division may be one day off either way; finish day by day.
  while (t >= kSecondsPerDay) {
    t -= kSecondsPerDay;
    ++d;
  }
  while (t < 0.0) {
    t += kSecondsPerDay;
    --d;
  }
  // A tiny negative time plus one day can round up to exactly 86400: that
  // instant is midnight of the following day.
  if (t >= kSecondsPerDay) {
    t = 0.0;
    ++d;
  }

  if (d > YearLength(y)) {
    if (d > kDaysPer400Years) {
      const int64_t cycles = (d - 1) / kDaysPer400Years;
      d -= cycles * kDaysPer400Years;
      y += cycles * 400;
    }
    while (d > YearLength(y)) {
      d -= YearLength(y);
      ++y;
    }
  } else if (d < 1) {
    const int64_t cycles = (-d) / kDaysPer400Years;
    d += cycles * kDaysPer400Years;
    y -= cycles * 400;
    while (d < 1) {
      --y;
      d += YearLength(y);
    }
  }

  if (y < std::numeric_limits<int32_t>::min() ||
      y > std::numeric_limits<int32_t>::max()) {
    return false;
  }
  year = static_cast<int32_t>(y);
  day = static_cast<int32_t>(d);
  time = t;
  return true;
}

double Difference(int32_t year1, int32_t day1, double time1,
                  int32_t year2, int32_t day2, double time2) {
  const int64_t days = static_cast<int64_t>(day1) - day2 +
                       DaysBeforeYear(year1) - DaysBeforeYear(year2);
  return static_cast<double>(days * 24) * 3600.0 + (time1 - time2);
}

int32_t AutomationDayNumber(int32_t year, int32_t day) {
  int32_t n = year * 365 + year / 4 - year / 100 + year / 400 + day;
  if (IsLeapYear(year)) n -= 1;
  return n - 693959;
}

int32_t DayOfWeek(int32_t year, int32_t day) {
  // 1 January 2000 was a Saturday (6).
  const int64_t offset =
      DaysBeforeYear(year) - DaysBeforeYear(2000) + static_cast<int64_t>(day) - 1;
  int64_t w = (6 + offset) % 7;
  if (w < 0) w += 7;
  return static_cast<int32_t>(w);
}

int32_t TruncateToInt32(double value) {
  if (std::isnan(value)) return 0;
  if (value >= 2147483647.0) return std::numeric_limits<int32_t>::max();
  if (value <= -2147483648.0) return std::numeric_limits<int32_t>::min();
  return static_cast<int32_t>(value);
}

}  // namespace mlr::recording_time
