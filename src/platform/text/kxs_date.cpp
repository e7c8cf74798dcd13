// Day numbers: composition, decomposition, printing and the current time.
// The text parser lives in kxs_dateparse.cpp.
#include "kxs_date.h"

#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "np_stamp.h"

namespace {

constexpr int64_t kMillisPerDay = 86400000;
constexpr double kMillisPerDayD = 86400000.0;

// Day 0 of the day number (1899-12-30) counted from 1970-01-01.
constexpr int64_t kDayZeroInUnixDays = -25569;

// Days from 1970-01-01 to the given proleptic Gregorian date (H. Hinnant's
// days_from_civil); valid for every year the library handles.
constexpr int64_t daysFromCivil(int64_t y, int64_t m, int64_t d) {
  y -= m <= 2;
  const int64_t era = (y >= 0 ? y : y - 399) / 400;
  const int64_t yoe = y - era * 400;
  const int64_t doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
  const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe - 719468;
}

// The inverse of daysFromCivil.
void civilFromDays(int64_t z, int* year, int* month, int* day) {
  z += 719468;
  const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const int64_t doe = z - era * 146097;
  const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const int64_t mp = (5 * doy + 2) / 153;
  const int64_t d = doy - (153 * mp + 2) / 5 + 1;
  const int64_t m = mp < 10 ? mp + 3 : mp - 9;
  *year = static_cast<int>(yoe + era * 400 + (m <= 2));
  *month = static_cast<int>(m);
  *day = static_cast<int>(d);
}

// Milliseconds since day 0 of the first and one past the last instant.
constexpr int64_t kFirstMillis =
    (daysFromCivil(1, 1, 1) - kDayZeroInUnixDays) * kMillisPerDay;
constexpr int64_t kEndMillis =
    (daysFromCivil(10000, 1, 1) - kDayZeroInUnixDays) * kMillisPerDay;

bool isLeapYear(int y) {
  return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
}

int daysInMonth(int y, int m) {
  static const int kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return m == 2 && isLeapYear(y) ? 29 : kDays[m - 1];
}

int64_t floorDiv(int64_t a, int64_t b) {
  int64_t q = a / b;
  return (a % b != 0 && (a < 0) != (b < 0)) ? q - 1 : q;
}

// The number as whole milliseconds since day 0, rounded to nearest; false
// outside the range.
bool toMillis(double date, int64_t* millis) {
  if (!std::isfinite(date)) return false;
  const double scaled = date * kMillisPerDayD;
  // Check before converting so that huge numbers never reach llround.
  if (scaled < static_cast<double>(kFirstMillis) - 1.0 ||
      scaled > static_cast<double>(kEndMillis) + 1.0) {
    return false;
  }
  const int64_t m = std::llround(scaled);
  if (m < kFirstMillis || m >= kEndMillis) return false;
  *millis = m;
  return true;
}

struct Elements {
  int year, month, day, hour, minute, second, milli;
};

bool split(double date, Elements* e) {
  int64_t millis;
  if (!toMillis(date, &millis)) return false;
  const int64_t days = floorDiv(millis, kMillisPerDay);
  int64_t rest = millis - days * kMillisPerDay;
  civilFromDays(days + kDayZeroInUnixDays, &e->year, &e->month, &e->day);
  e->milli = static_cast<int>(rest % 1000);
  rest /= 1000;
  e->second = static_cast<int>(rest % 60);
  rest /= 60;
  e->minute = static_cast<int>(rest % 60);
  e->hour = static_cast<int>(rest / 60);
  return true;
}

// Writes `value` as exactly `width` decimal digits (value is non-negative
// and fits).
char* putDigits(char* out, int value, int width) {
  for (int i = width - 1; i >= 0; --i) {
    out[i] = static_cast<char>('0' + value % 10);
    value /= 10;
  }
  return out + width;
}

std::atomic<int> g_dateOrder{KXS_DATE_ORDER_MDY};

}  // namespace

extern "C" int kxs_compose_date_milli(int year, int month, int day, int hour,
                                      int minute, int second, int millisecond,
                                      double* date) {
  if (date == nullptr) return 0;
  if (year < 1 || year > 9999 || month < 1 || month > 12 || day < 1 ||
      day > daysInMonth(year, month) || hour < 0 || hour > 23 || minute < 0 ||
      minute > 59 || second < 0 || second > 59 || millisecond < 0 ||
      millisecond > 999) {
    return 0;
  }
  const int64_t days = daysFromCivil(year, month, day) - kDayZeroInUnixDays;
  const int64_t millis = days * kMillisPerDay +
                         ((hour * 60 + minute) * 60 + second) * 1000LL +
                         millisecond;
  // Both operands are exact doubles (|millis| < 2^53): one rounding only.
  *date = static_cast<double>(millis) / kMillisPerDayD;
  return 1;
}

extern "C" int kxs_compose_date(int year, int month, int day, int hour,
                                int minute, int second, double* date) {
  return kxs_compose_date_milli(year, month, day, hour, minute, second, 0,
                                date);
}

extern "C" int kxs_decompose_date_milli(double date, int* year, int* month,
                                        int* day, int* hour, int* minute,
                                        int* second, int* millisecond) {
  Elements e;
  if (!split(date, &e)) return 0;
  if (year != nullptr) *year = e.year;
  if (month != nullptr) *month = e.month;
  if (day != nullptr) *day = e.day;
  if (hour != nullptr) *hour = e.hour;
  if (minute != nullptr) *minute = e.minute;
  if (second != nullptr) *second = e.second;
  if (millisecond != nullptr) *millisecond = e.milli;
  return 1;
}

extern "C" int kxs_decompose_date(double date, int* year, int* month, int* day,
                                  int* hour, int* minute, int* second) {
  return kxs_decompose_date_milli(date, year, month, day, hour, minute, second,
                                  nullptr);
}

extern "C" int kxs_day_of_week(double date) {
  int64_t millis;
  if (!toMillis(date, &millis)) return -1;
  // Day 0, 1899-12-30, was a Saturday.
  const int64_t days = floorDiv(millis, kMillisPerDay);
  return static_cast<int>(((days + 6) % 7 + 7) % 7);
}

extern "C" int kxs_get_date_format(void) {
  return g_dateOrder.load(std::memory_order_relaxed);
}

extern "C" int kxs_set_date_format(int order) {
  if (order < KXS_DATE_ORDER_MDY || order > KXS_DATE_ORDER_YMD) return 0;
  g_dateOrder.store(order, std::memory_order_relaxed);
  return 1;
}

extern "C" int kxs_date_to_string(double date, int format, char* buffer,
                                  int size) {
  if (buffer == nullptr || size <= 0) return 0;
  buffer[0] = '\0';
  if (format != KXS_DATE_TEXT_DEFAULT && format != KXS_DATE_TEXT_ISO_MILLI &&
      format != KXS_DATE_TEXT_ISO) {
    return 0;
  }
  Elements e;
  if (!split(date, &e)) return 0;

  char text[KXS_DATE_TEXT_MIN_SIZE];
  char* p = putDigits(text, e.year, 4);
  *p++ = '-';
  p = putDigits(p, e.month, 2);
  *p++ = '-';
  p = putDigits(p, e.day, 2);
  *p++ = format == KXS_DATE_TEXT_DEFAULT ? ' ' : 'T';
  p = putDigits(p, e.hour, 2);
  *p++ = ':';
  p = putDigits(p, e.minute, 2);
  *p++ = ':';
  p = putDigits(p, e.second, 2);
  if (format == KXS_DATE_TEXT_ISO_MILLI ||
      (format == KXS_DATE_TEXT_DEFAULT && e.milli != 0)) {
    *p++ = '.';
    p = putDigits(p, e.milli, 3);
  }
  const int length = static_cast<int>(p - text);
  if (length >= size) return 0;
  std::memcpy(buffer, text, length);
  buffer[length] = '\0';
  return length;
}

extern "C" double kxs_timetoday(void) {
  np_stamp now;
  np_civil_time local;
  if (np_stamp_realtime(&now) != 0 ||
      np_stamp_localtime(now.seconds, &local) != 0) {
    return 0.0;
  }
  double date = 0.0;
  // A leap second (60) is held at 59.
  const int second = local.second > 59 ? 59 : local.second;
  if (!kxs_compose_date_milli(local.year, local.month, local.day, local.hour,
                              local.minute, second,
                              static_cast<int>(now.nanoseconds / 1000000),
                              &date)) {
    return 0.0;
  }
  return date;
}

extern "C" double kxs_gmtimetoday(void) {
  np_stamp now;
  if (np_stamp_realtime(&now) != 0) return 0.0;
  const int64_t millis =
      (now.seconds - kDayZeroInUnixDays * 86400) * 1000 +
      now.nanoseconds / 1000000;
  if (millis < kFirstMillis || millis >= kEndMillis) return 0.0;
  return static_cast<double>(millis) / kMillisPerDayD;
}
