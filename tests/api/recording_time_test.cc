// The exported recording-time functions, checked against the C library's
// own calendar (timegm/gmtime_r, proleptic Gregorian over 64-bit time_t)
// rather than against a second copy of our formulas.
#include <gtest/gtest.h>

#include <cmath>
#include <ctime>
#include <limits>
#include <random>

#include "LegacyRecording.h"
#include "platform/win.h"
#include "testing/scoped_env.h"

namespace {

constexpr double kDay = 86400.0;

// The instant a (possibly unnormalised) recording time with whole seconds
// denotes, in Unix seconds; timegm itself rolls the days over.
int64_t Instant(int64_t year, int64_t day, int64_t seconds) {
  std::tm t{};
  t.tm_year = static_cast<int>(year - 1900);
  t.tm_mday = static_cast<int>(day);
  return static_cast<int64_t>(timegm(&t)) + seconds;
}

struct Utc {
  int64_t year;
  int32_t yday;      // 1-based
  int32_t seconds;   // of the day
  int32_t month;     // 1-based
  int32_t mday;
  int32_t wday;      // 0 = Sunday
};

Utc Split(int64_t instant) {
  time_t tt = static_cast<time_t>(instant);
  std::tm g{};
  gmtime_r(&tt, &g);
  return {g.tm_year + 1900LL, g.tm_yday + 1, g.tm_hour * 3600 + g.tm_min * 60 + g.tm_sec,
          g.tm_mon + 1, g.tm_mday, g.tm_wday};
}

// The C library's view of the current UTC-minus-local offset.
int32_t CurrentBias() {
  tzset();
  time_t now = time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  return static_cast<int32_t>(-local.tm_gmtoff);
}

// Recording times with days and seconds far outside their ranges, in both
// directions, over years that include 0, negative leap years and the century
// rules: MakeValidTime normalises them, TimeDifference measures from the
// previous one (unnormalised days count as offsets), and a normalised time
// of years 0 .. 9999 converts to a DATE counted from 30 Dec 1899 (before it
// the fraction counts away from zero) and, from year 1, to calendar fields.
TEST(MakeValidTime, AgreesWithTheCLibraryOverWideRanges) {
  const int64_t epoch = Instant(1899, 1, 0) + 363 * 86400;
  std::mt19937_64 rng(20040229);
  LONG last_year = 2000, last_day = 1;
  int64_t last_whole = 0;
  for (int i = 0; i < 20000; ++i) {
    const LONG year = static_cast<LONG>(rng() % 12000) - 1000;
    const LONG day = static_cast<LONG>(rng() % 4000) - 1500;
    const int64_t whole = static_cast<int64_t>(rng() % 40000000) - 20000000;
    const double time = static_cast<double>(whole) + 0.375;
    const int64_t instant = Instant(year, day, whole);

    double diff = 0.0;
    ASSERT_EQ(TimeDifference(year, day, time, last_year, last_day, last_whole + 0.25, &diff), S_OK);
    ASSERT_EQ(diff, static_cast<double>(instant - Instant(last_year, last_day, last_whole)) + 0.125)
        << year << "/" << day << " - " << last_year << "/" << last_day;
    last_year = year, last_day = day, last_whole = whole;

    LONG y = year, d = day;
    double t = time;
    ASSERT_EQ(MakeValidTime(&y, &d, &t), S_OK);
    const Utc want = Split(instant);
    ASSERT_EQ(y, want.year) << year << "/" << day << "/" << time;
    ASSERT_EQ(d, want.yday) << year << "/" << day << "/" << time;
    ASSERT_EQ(t, want.seconds + 0.375) << year << "/" << day << "/" << time;
    if (y < 0 || y > 9999) continue;

    DATE date = 0.0;
    ASSERT_EQ(RecordingTimeToDATE(y, d, t, VARIANT_FALSE, &date), S_OK);
    const double days = static_cast<double>((Instant(y, d, 0) - epoch) / 86400);
    ASSERT_DOUBLE_EQ(date, days >= 0 ? days + t / kDay : days - t / kDay) << y << "/" << d;
    if (y == 0) continue;
    SYSTEMTIME st{};
    ASSERT_EQ(RecordingTimeToSystemTime(y, d, t, &st), S_OK);
    ASSERT_EQ(st.wYear, y);
    ASSERT_EQ(st.wMonth, want.month) << y << "/" << d;
    ASSERT_EQ(st.wDay, want.mday) << y << "/" << d;
    ASSERT_EQ(st.wDayOfWeek, want.wday) << y << "/" << d;
    ASSERT_EQ(st.wHour * 3600 + st.wMinute * 60 + st.wSecond, want.seconds);
    ASSERT_EQ(st.wMilliseconds, 375);
  }
}

TEST(MakeValidTime, KeepsTheTimeBelowOneDay) {
  // A tiny negative time plus 86400 rounds to 86400 itself; the result must
  // still be a valid time of day.
  LONG y = 2004, d = 10;
  double t = -1e-20;
  ASSERT_EQ(MakeValidTime(&y, &d, &t), S_OK);
  EXPECT_EQ(y, 2004);
  EXPECT_EQ(d, 10);
  EXPECT_EQ(t, 0.0);

  // Just below a day boundary stays on its day.
  y = 2004, d = 366;
  t = std::nextafter(kDay, 0.0);
  ASSERT_EQ(MakeValidTime(&y, &d, &t), S_OK);
  EXPECT_EQ(y, 2004);
  EXPECT_EQ(d, 366);
  EXPECT_EQ(t, std::nextafter(kDay, 0.0));
}

TEST(MakeValidTime, RejectsWhatCannotBeNormalised) {
  LONG y = 2004, d = 5;
  double t = 1.0;
  EXPECT_EQ(MakeValidTime(nullptr, &d, &t), E_POINTER);
  EXPECT_EQ(MakeValidTime(&y, nullptr, &t), E_POINTER);
  EXPECT_EQ(MakeValidTime(&y, &d, nullptr), E_POINTER);

  y = 2004, d = 500;
  t = std::numeric_limits<double>::infinity();
  EXPECT_EQ(MakeValidTime(&y, &d, &t), E_INVALIDARG);
  EXPECT_EQ(y, 2004);
  EXPECT_EQ(d, 500);

  // Past the last 32-bit year: refused, nothing written.
  y = 2147483647, d = 366;
  t = 0.0;
  EXPECT_EQ(MakeValidTime(&y, &d, &t), E_INVALIDARG);
  EXPECT_EQ(y, 2147483647);
  EXPECT_EQ(d, 366);

  // Times of billions of years still normalise when the result fits 32 bits:
  // from the first 32-bit year forward and from the last one backward. The
  // result denotes the same instant (TimeDifference is checked against the C
  // library in the wide-range test).
  for (const double shift : {1.2e17, -1.2e17, 1.35e17}) {
    const LONG from = shift > 0 ? std::numeric_limits<LONG>::min() : 2147483647;
    y = from, d = 1;
    t = shift;
    ASSERT_EQ(MakeValidTime(&y, &d, &t), S_OK) << shift;
    EXPECT_GE(t, 0.0);
    EXPECT_LT(t, kDay);
    EXPECT_GE(d, 1);
    EXPECT_LE(d, 366);
    double moved = 0.0;
    ASSERT_EQ(TimeDifference(y, d, t, from, 1, 0.0, &moved), S_OK);
    EXPECT_EQ(moved, shift);
  }

  // TimeDifference: 64-bit day counts do not wrap.
  double diff = 0.0;
  EXPECT_EQ(TimeDifference(2000, 1, 0.0, 2000, 1, 0.0, nullptr), E_POINTER);
  ASSERT_EQ(TimeDifference(2000000, 1, 0.0, -2000000, 1, 0.0, &diff), S_OK);
  EXPECT_EQ(diff, static_cast<double>(Instant(2000000, 1, 0) - Instant(-2000000, 1, 0)));

  // A large day count is normalised quickly and exactly.
  y = 0, d = 2000000000;
  t = 0.0;
  ASSERT_EQ(MakeValidTime(&y, &d, &t), S_OK);
  const Utc want = Split(Instant(0, 2000000000, 0));
  EXPECT_EQ(y, want.year);
  EXPECT_EQ(d, want.yday);

  // NaN passes; the day is still normalised.
  y = 2001, d = 0;
  t = std::nan("");
  ASSERT_EQ(MakeValidTime(&y, &d, &t), S_OK);
  EXPECT_EQ(y, 2000);
  EXPECT_EQ(d, 366);
  EXPECT_TRUE(std::isnan(t));
}

// Time zones with a fixed bias, one with daylight saving all year round (so
// its daylight bias is in force whatever today is), and a real zone whose
// expectation comes from the C library at run time.
constexpr int32_t kToday = std::numeric_limits<int32_t>::min();  // today's bias

struct Zone {
  const char* tz;
  int32_t bias;  // UTC minus local, seconds; checked against the C library too
};
const Zone kZones[] = {
    {"UTC0", 0},
    {"JST-9", -32400},
    {"NST+3:30", 12600},
    {"EST5EDT,0/0,J365/25", 14400},
    {"Europe/Berlin", kToday},
};

TEST(LocalTime, ConvertsWithTheCurrentBias) {
  for (Zone zone : kZones) {
    mlr::testing::ScopedEnv scoped("TZ", zone.tz);
    if (zone.bias == kToday) {
      zone.bias = CurrentBias();
      EXPECT_TRUE(zone.bias == -3600 || zone.bias == -7200);
    }
    ASSERT_EQ(CurrentBias(), zone.bias) << zone.tz;

    // Across a year boundary in both directions.
    for (int64_t seconds : {int64_t{10}, int64_t{86390}, int64_t{43200}}) {
      for (auto start : {std::pair<LONG, LONG>{2003, 365}, {2004, 1}, {2004, 366}}) {
        LONG y = start.first, d = start.second;
        double t = seconds + 0.5;
        ASSERT_EQ(RecordingTimeToLocalTime(&y, &d, &t), S_OK);
        Utc want = Split(Instant(start.first, start.second, seconds) - zone.bias);
        EXPECT_EQ(y, want.year) << zone.tz;
        EXPECT_EQ(d, want.yday) << zone.tz;
        EXPECT_EQ(t, want.seconds + 0.5) << zone.tz;

        ASSERT_EQ(LocalTimeToRecordingTime(&y, &d, &t), S_OK);
        EXPECT_EQ(y, start.first) << zone.tz;
        EXPECT_EQ(d, start.second) << zone.tz;
        EXPECT_EQ(t, seconds + 0.5) << zone.tz;
      }
    }

    // A local DATE is the UTC one shifted by the bias, not renormalised.
    DATE utc = 0.0, local = 0.0;
    ASSERT_EQ(RecordingTimeToDATE(2004, 60, 600.0, VARIANT_FALSE, &utc), S_OK);
    ASSERT_EQ(RecordingTimeToDATE(2004, 60, 600.0, VARIANT_TRUE, &local), S_OK);
    EXPECT_DOUBLE_EQ(local, utc - zone.bias / kDay) << zone.tz;
  }

  LONG y = 2004, d = 1;
  double t = 5.0;
  EXPECT_EQ(RecordingTimeToLocalTime(&y, nullptr, &t), E_POINTER);
  EXPECT_EQ(LocalTimeToRecordingTime(nullptr, &d, &t), E_POINTER);
  EXPECT_EQ(LocalTimeToRecordingTime(&y, &d, nullptr), E_POINTER);
  EXPECT_EQ(t, 5.0);
}

TEST(RecordingTimeToSystemTime, SplitsIntoCalendarFields) {
  SYSTEMTIME st{};
  // Days outside the year leave month and day as they were; a DATE refuses
  // them, and years outside 0 .. 9999, and writes 0.
  for (LONG day : {0, 367}) {
    st.wMonth = 11;
    st.wDay = 22;
    ASSERT_EQ(RecordingTimeToSystemTime(2004, day, 0.0, &st), S_OK);
    EXPECT_EQ(st.wMonth, 11);
    EXPECT_EQ(st.wDay, 22);
  }
  EXPECT_EQ(RecordingTimeToSystemTime(2004, 1, 0.0, nullptr), E_POINTER);
  for (auto bad : {std::pair<LONG, LONG>{10000, 1}, {-1, 1}, {2000, 367}, {2000, 0}}) {
    DATE date = 7.0;
    EXPECT_EQ(RecordingTimeToDATE(bad.first, bad.second, 0.0, VARIANT_FALSE, &date), E_FAIL);
    EXPECT_EQ(date, 0.0);
  }
  EXPECT_EQ(RecordingTimeToDATE(2000, 1, 0.0, VARIANT_FALSE, nullptr), E_POINTER);
}

}  // namespace
