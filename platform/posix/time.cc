// Time: SYSTEMTIME/FILETIME/automation DATE conversions, the current time,
// the time zone from the C library (TZ honoured, re-read on every call),
// and monotonic counters.
#if !defined(_WIN32)

#include "platform/time_zone.h"
#include "platform/win.h"

#include <cmath>
#include <cstdint>
#include <ctime>
#include <initializer_list>
#include <time.h>

namespace {

constexpr int64_t kTicksPerSecond = 10000000;            // FILETIME units
constexpr int64_t kTicksPerDay = kTicksPerSecond * 86400;
constexpr int64_t kDaysFrom1601To1970 = 134774;
constexpr int64_t kDaysFrom1601To1899 = 109205;           // to 1899-12-30

int64_t DaysFromCivil(int64_t y, unsigned m, unsigned d) {
  y -= m <= 2;
  const int64_t era = (y >= 0 ? y : y - 399) / 400;
  const unsigned yoe = static_cast<unsigned>(y - era * 400);
  const unsigned doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<int64_t>(doe) - 719468;  // days since 1970-01-01
}

void CivilFromDays(int64_t z, int64_t* y, unsigned* m, unsigned* d) {
  z += 719468;
  const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const unsigned doe = static_cast<unsigned>(z - era * 146097);
  const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const unsigned mp = (5 * doy + 2) / 153;
  *d = doy - (153 * mp + 2) / 5 + 1;
  *m = mp < 10 ? mp + 3 : mp - 9;
  *y = static_cast<int64_t>(yoe) + era * 400 + (*m <= 2);
}

bool ValidSystemTime(const SYSTEMTIME& st) {
  static const int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (st.wMonth < 1 || st.wMonth > 12 || st.wDay < 1) return false;
  int y = st.wYear;
  bool leap = (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
  if (st.wDay > kDays[st.wMonth - 1] + (st.wMonth == 2 && leap ? 1 : 0)) return false;
  return st.wHour < 24 && st.wMinute < 60 && st.wSecond < 60 && st.wMilliseconds < 1000;
}

// Ticks since 1601 <-> SYSTEMTIME.
bool TicksToSystemTime(int64_t ticks, SYSTEMTIME* st) {
  if (ticks < 0) return false;
  int64_t days = ticks / kTicksPerDay;
  int64_t rest = ticks % kTicksPerDay;
  int64_t y;
  unsigned m, d;
  CivilFromDays(days - kDaysFrom1601To1970, &y, &m, &d);
  if (y > 30827) return false;
  st->wYear = static_cast<WORD>(y);
  st->wMonth = static_cast<WORD>(m);
  st->wDay = static_cast<WORD>(d);
  st->wDayOfWeek = static_cast<WORD>((days + 1) % 7);  // 1601-01-01 was a Monday
  st->wHour = static_cast<WORD>(rest / (kTicksPerSecond * 3600));
  st->wMinute = static_cast<WORD>(rest / (kTicksPerSecond * 60) % 60);
  st->wSecond = static_cast<WORD>(rest / kTicksPerSecond % 60);
  st->wMilliseconds = static_cast<WORD>(rest / 10000 % 1000);
  return true;
}

int64_t FileTimeTicks(const FILETIME& ft) {
  return static_cast<int64_t>((uint64_t{ft.dwHighDateTime} << 32) | ft.dwLowDateTime);
}

void SetFileTimeTicks(int64_t ticks, FILETIME* ft) {
  ft->dwLowDateTime = static_cast<DWORD>(static_cast<uint64_t>(ticks));
  ft->dwHighDateTime = static_cast<DWORD>(static_cast<uint64_t>(ticks) >> 32);
}

// Seconds east of UTC in force at `t`, and whether daylight time applies.
long OffsetAt(time_t t, bool* dst) {
  struct tm local;
  localtime_r(&t, &local);
  if (dst) *dst = local.tm_isdst > 0;
  return local.tm_gmtoff;
}

}  // namespace

INT VariantTimeToSystemTime(DOUBLE vtime, LPSYSTEMTIME lpSystemTime) {
  if (!lpSystemTime) return FALSE;
  // Years 100..9999, as automation dates allow.
  if (!(vtime >= -657434.0 && vtime < 2958466.0)) return FALSE;
  // The day part counts from 1899-12-30; the fraction is the time of day,
  // counted away from zero for negative dates (-1.25 is 1899-12-29 06:00).
  double day = std::trunc(vtime);
  double frac = std::fabs(vtime - day);
  int64_t ms = static_cast<int64_t>(std::llround(frac * 86400000.0));
  int64_t days = static_cast<int64_t>(day);
  if (ms >= 86400000) {
    ms -= 86400000;
    days += vtime < 0 ? -1 : 1;
  }
  // Automation conversions work in whole seconds.
  int64_t seconds = (ms + 500) / 1000;
  if (seconds >= 86400) {
    seconds -= 86400;
    days += vtime < 0 ? -1 : 1;
  }
  int64_t ticks = (days + kDaysFrom1601To1899) * kTicksPerDay + seconds * kTicksPerSecond;
  if (!TicksToSystemTime(ticks, lpSystemTime)) return FALSE;
  lpSystemTime->wMilliseconds = 0;
  return TRUE;
}

INT SystemTimeToVariantTime(LPSYSTEMTIME lpSystemTime, DOUBLE* pvtime) {
  if (!lpSystemTime || !pvtime) return FALSE;
  SYSTEMTIME st = *lpSystemTime;
  st.wMilliseconds = 0;
  if (st.wYear < 100 || st.wYear > 9999 || !ValidSystemTime(st)) return FALSE;
  double days = static_cast<double>(DaysFromCivil(st.wYear, st.wMonth, st.wDay) + 25569);
  double frac = (st.wHour * 3600.0 + st.wMinute * 60.0 + st.wSecond) / 86400.0;
  *pvtime = days < 0 ? days - frac : days + frac;
  return TRUE;
}

BOOL SystemTimeToFileTime(const SYSTEMTIME* lpSystemTime, LPFILETIME lpFileTime) {
  if (!lpSystemTime || !lpFileTime) return FALSE;
  const SYSTEMTIME& st = *lpSystemTime;
  if (st.wYear < 1601 || st.wYear > 30827 || !ValidSystemTime(st)) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  int64_t days = DaysFromCivil(st.wYear, st.wMonth, st.wDay) + kDaysFrom1601To1970;
  int64_t ticks = days * kTicksPerDay +
                  (st.wHour * 3600LL + st.wMinute * 60LL + st.wSecond) * kTicksPerSecond +
                  st.wMilliseconds * 10000LL;
  SetFileTimeTicks(ticks, lpFileTime);
  return TRUE;
}

BOOL FileTimeToSystemTime(const FILETIME* lpFileTime, LPSYSTEMTIME lpSystemTime) {
  if (!lpFileTime || !lpSystemTime) return FALSE;
  if (!TicksToSystemTime(FileTimeTicks(*lpFileTime), lpSystemTime)) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  return TRUE;
}

void GetSystemTimeAsFileTime(LPFILETIME lpSystemTimeAsFileTime) {
  if (!lpSystemTimeAsFileTime) return;
  struct timespec ts;
  clock_gettime(CLOCK_REALTIME, &ts);
  int64_t ticks = (static_cast<int64_t>(ts.tv_sec) + kDaysFrom1601To1970 * 86400) *
                      kTicksPerSecond + ts.tv_nsec / 100;
  SetFileTimeTicks(ticks, lpSystemTimeAsFileTime);
}

void GetSystemTime(LPSYSTEMTIME lpSystemTime) {
  if (!lpSystemTime) return;
  FILETIME ft;
  GetSystemTimeAsFileTime(&ft);
  FileTimeToSystemTime(&ft, lpSystemTime);
}

void GetLocalTime(LPSYSTEMTIME lpSystemTime) {
  if (!lpSystemTime) return;
  FILETIME ft, local;
  GetSystemTimeAsFileTime(&ft);
  FileTimeToLocalFileTime(&ft, &local);
  FileTimeToSystemTime(&local, lpSystemTime);
}

// Windows applies the bias in force now, not the one at the converted time;
// so do we.
BOOL FileTimeToLocalFileTime(const FILETIME* lpFileTime, LPFILETIME lpLocalFileTime) {
  if (!lpFileTime || !lpLocalFileTime) return FALSE;
  tzset();
  int64_t offset = OffsetAt(time(nullptr), nullptr);
  SetFileTimeTicks(FileTimeTicks(*lpFileTime) + offset * kTicksPerSecond, lpLocalFileTime);
  return TRUE;
}

BOOL LocalFileTimeToFileTime(const FILETIME* lpLocalFileTime, LPFILETIME lpFileTime) {
  if (!lpLocalFileTime || !lpFileTime) return FALSE;
  tzset();
  int64_t offset = OffsetAt(time(nullptr), nullptr);
  SetFileTimeTicks(FileTimeTicks(*lpLocalFileTime) - offset * kTicksPerSecond, lpFileTime);
  return TRUE;
}

DWORD GetTimeZoneInformation(LPTIME_ZONE_INFORMATION tzi) {
  if (!tzi) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return TIME_ZONE_ID_INVALID;
  }
  tzset();
  *tzi = TIME_ZONE_INFORMATION{};
  time_t now = time(nullptr);
  bool dst_now = false;
  long now_offset = OffsetAt(now, &dst_now);
  // The standard offset: the one of whichever half of the year has no
  // daylight time.
  struct tm local;
  localtime_r(&now, &local);
  long standard = now_offset;
  long daylight = now_offset;
  bool has_dst = false;
  for (int month : {0, 6}) {
    struct tm probe = {};
    probe.tm_year = local.tm_year;
    probe.tm_mon = month;
    probe.tm_mday = 1;
    probe.tm_hour = 12;
    probe.tm_isdst = -1;
    time_t t = timegm(&probe);
    bool dst = false;
    long off = OffsetAt(t, &dst);
    if (dst) {
      daylight = off;
      has_dst = true;
    } else {
      standard = off;
    }
  }
  if (dst_now) daylight = now_offset;
  else standard = now_offset;
  tzi->Bias = static_cast<LONG>(-standard / 60);
  tzi->StandardBias = 0;
  tzi->DaylightBias = has_dst ? static_cast<LONG>(-(daylight - standard) / 60) : 0;
  auto copy_name = [](WCHAR* dst, const char* src) {
    for (int i = 0; src && src[i] && i < 31; ++i) dst[i] = static_cast<WCHAR>(src[i]);
  };
  copy_name(tzi->StandardName, tzname[0]);
  copy_name(tzi->DaylightName, tzname[1]);
  if (!has_dst) return TIME_ZONE_ID_UNKNOWN;
  return dst_now ? TIME_ZONE_ID_DAYLIGHT : TIME_ZONE_ID_STANDARD;
}

namespace mlr {
// UTC minus local time in seconds, in force now (TZ honoured).
LONG CurrentUtcBiasSeconds() {
  tzset();
  return static_cast<LONG>(-OffsetAt(time(nullptr), nullptr));
}
}  // namespace mlr

DWORD timeGetTime(void) {
  struct timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  uint64_t ms = static_cast<uint64_t>(ts.tv_sec) * 1000 + static_cast<uint64_t>(ts.tv_nsec) / 1000000;
  return static_cast<DWORD>(ms);  // wraps every 49.7 days
}

DWORD GetTickCount(void) { return timeGetTime(); }

ULONGLONG GetTickCount64(void) {
  struct timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<uint64_t>(ts.tv_sec) * 1000 + static_cast<uint64_t>(ts.tv_nsec) / 1000000;
}

BOOL QueryPerformanceCounter(LARGE_INTEGER* lpPerformanceCount) {
  if (!lpPerformanceCount) return FALSE;
  struct timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  lpPerformanceCount->QuadPart = static_cast<LONGLONG>(ts.tv_sec) * 1000000000LL + ts.tv_nsec;
  return TRUE;
}

BOOL QueryPerformanceFrequency(LARGE_INTEGER* lpFrequency) {
  if (!lpFrequency) return FALSE;
  lpFrequency->QuadPart = 1000000000LL;
  return TRUE;
}

#endif  // !_WIN32
