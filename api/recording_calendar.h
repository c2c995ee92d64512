// Calendar arithmetic of recording times.
//
// A recording time is three values passed together: a UTC year (signed
// 32-bit, proleptic Gregorian, year 0 exists and is a leap year), a 1-based
// day of that year and the seconds since UTC midnight of that day. These
// routines are the arithmetic behind the exported time functions; they hold
// no state, allocate nothing and may be called from any thread.
//
// Leap years: divisible by 4 and either not by 100 or by 400. Divisibility
// does not depend on the sign, so the rule answers for negative years too.
#pragma once

#include <cstdint>

namespace mlr::recording_time {

constexpr double kSecondsPerDay = 86400.0;

// Days of the 400-year Gregorian cycle; any 400 consecutive years hold this
// many days.
constexpr int64_t kDaysPer400Years = 146097;

bool IsLeapYear(int64_t year);
int32_t YearLength(int64_t year);  // 365 or 366

// Days before the start of each month (13 entries, the last one the year's
// length), of the leap or the common year as `year` asks.
const uint16_t* CumulativeMonthDays(int64_t year);

// Days from the start of year 0 to the start of `year` (negative for years
// before 0). The difference of two of these is the number of days between
// the first days of the two years.
int64_t DaysBeforeYear(int64_t year);

// Normalises a recording time: afterwards 0 <= time < 86400 and
// 1 <= day <= YearLength(year). Whole days move out of `time` into `day`, then
// whole years out of `day` into `year`; the result is the one obtained by
// moving one day (then one year) at a time, computed in bounded time.
// Returns false, and changes nothing, when `time` is infinite or when the
// normalised year does not fit a signed 32-bit integer. A NaN time is left as
// it is (no comparison holds for it) while day and year are still normalised.
[[nodiscard]] bool Normalise(int32_t& year, int32_t& day, double& time);

// Seconds from (year2, day2, time2) to (year1, day1, time1), that is time 1
// minus time 2. The inputs need not be normalised: a day outside its year
// simply counts as an offset from the year's first day.
double Difference(int32_t year1, int32_t day1, double time1,
                  int32_t year2, int32_t day2, double time2);

// Automation day number of (year, day): days since 30 December 1899
// (1 January 1900 is 2). Defined for years 0..9999 and days 1..366.
int32_t AutomationDayNumber(int32_t year, int32_t day);

// Day of the week of (year, day), 0 = Sunday; any year, day counted as an
// offset from 1 January.
int32_t DayOfWeek(int32_t year, int32_t day);

// `value` truncated toward zero and clamped into the signed 32-bit range;
// NaN gives 0. Used wherever a double outside the expected range must not
// make a conversion undefined.
int32_t TruncateToInt32(double value);

}  // namespace mlr::recording_time
