// The exported recording-time functions: validate, compare and convert
// recording times (UTC year, UTC day of the year, seconds since UTC
// midnight). They keep no state and may be called from any thread.
//
// RecordingTimeToDATE accepts years 0..9999 and days 1..366 (E_FAIL and a
// DATE of 0.0 otherwise). Before 30 December 1899 the fraction counts away
// from zero, as automation dates do; a local time of day is not normalised,
// so the fraction may fall below 0 or reach past 1 on the same day number.
//
// Choices where the contract leaves room:
// - Every function answers E_POINTER for a null pointer before it writes
//   anything.
// - MakeValidTime (and the two local-time conversions through it) returns
//   E_INVALIDARG and writes nothing when the time is infinite, or when the
//   normalised year would not fit 32 bits; a NaN time passes unchanged.
//   Afterwards 0 <= time < 86400 always holds, even when a tiny negative
//   time would round up to 86400 (it becomes 0.0 of the following day).
// - TimeDifference counts days in 64 bits, so differences of more than
//   245,000 years do not wrap.
// - RecordingTimeToSystemTime leaves wMonth and wDay as the caller had them
//   for a day below 1 as for a day past the year's end, and clamps times
//   outside the 32-bit range of seconds instead of converting them blindly.
// - The local offset is the one in force now (the daylight-saving state of
//   the converted instant is not looked up): a recording made in winter and
//   converted in summer is shifted by the summer offset.
#include "LegacyRecording.h"
#include "api/recording_calendar.h"
#include "api/time_zone_bias.h"
#include "platform/win.h"

namespace rt = mlr::recording_time;

MLR_API HRESULT STDAPICALLTYPE MakeValidTime(LONG* plYear, LONG* plYearDay, double* pdTime) {
  if (!plYear || !plYearDay || !pdTime) return E_POINTER;
  int32_t year = *plYear;
  int32_t day = *plYearDay;
  double time = *pdTime;
  if (!rt::Normalise(year, day, time)) return E_INVALIDARG;
  *plYear = year;
  *plYearDay = day;
  *pdTime = time;
  return S_OK;
}

MLR_API HRESULT STDAPICALLTYPE TimeDifference(LONG Year1, LONG Day1, double Time1, LONG Year2,
                                              LONG Day2, double Time2, double* Difference) {
  if (!Difference) return E_POINTER;
  *Difference = rt::Difference(Year1, Day1, Time1, Year2, Day2, Time2);
  return S_OK;
}

MLR_API HRESULT STDAPICALLTYPE RecordingTimeToDATE(LONG Year, LONG YearDay, double Time,
                                                   VARIANT_BOOL Local, DATE* Date) {
  if (!Date) return E_POINTER;
  *Date = 0.0;
  if (Year > 9999 || Year < 0 || YearDay > 366 || YearDay <= 0) return E_FAIL;
  const int32_t n = rt::AutomationDayNumber(Year, YearDay);
  double t = Time;
  if (Local) t -= mlr::TimeZoneBiasSeconds();
  double fraction = t / rt::kSecondsPerDay;
  // Before 30 December 1899 the fraction counts away from zero.
  if (n < 0) fraction = -fraction;
  *Date = n + fraction;
  return S_OK;
}

namespace {

// Adds `seconds` to the time and normalises; writes nothing on failure.
HRESULT ShiftAndNormalise(LONG* Year, LONG* YearDay, double* Time, double seconds) {
  if (!Year || !YearDay || !Time) return E_POINTER;
  double time = *Time + seconds;
  const HRESULT hr = MakeValidTime(Year, YearDay, &time);
  if (SUCCEEDED(hr)) *Time = time;
  return hr;
}

}  // namespace

MLR_API HRESULT STDAPICALLTYPE RecordingTimeToLocalTime(LONG* Year, LONG* YearDay, double* Time) {
  return ShiftAndNormalise(Year, YearDay, Time, -mlr::TimeZoneBiasSeconds());
}

MLR_API HRESULT STDAPICALLTYPE LocalTimeToRecordingTime(LONG* Year, LONG* YearDay, double* Time) {
  return ShiftAndNormalise(Year, YearDay, Time, mlr::TimeZoneBiasSeconds());
}

MLR_API HRESULT STDAPICALLTYPE RecordingTimeToSystemTime(LONG Year, LONG YearDay, double Time,
                                                         SYSTEMTIME* SystemTime) {
  if (!SystemTime) return E_POINTER;
  const int32_t s = rt::TruncateToInt32(Time);
  SystemTime->wYear = static_cast<WORD>(Year);
  SystemTime->wHour = static_cast<WORD>(s / 3600);
  SystemTime->wMinute = static_cast<WORD>((s % 3600) / 60);
  SystemTime->wSecond = static_cast<WORD>(s % 60);
  SystemTime->wMilliseconds = static_cast<WORD>(rt::TruncateToInt32(Time * 1000.0) % 1000);

  const uint16_t* table = rt::CumulativeMonthDays(Year);
  if (YearDay >= 1) {
    for (int m = 1; m <= 12; ++m) {
      if (YearDay <= table[m]) {
        SystemTime->wMonth = static_cast<WORD>(m);
        SystemTime->wDay = static_cast<WORD>(YearDay - table[m - 1]);
        break;
      }
    }
  }
  SystemTime->wDayOfWeek = static_cast<WORD>(rt::DayOfWeek(Year, YearDay));
  return S_OK;
}
