// KxbDate: null state, normalisation, text forms, ordering and the clock.
#include "kxbdate.h"

#include <atomic>
#include <cstdio>
#include <type_traits>

#include "kxs_date.h"

namespace {

// Written by start-up before other threads use dates; relaxed access is
// enough since nothing else is published through it.
std::atomic<bool> g_useUTC{false};

// The platform text buffer; larger than the longest form.
constexpr int kTextBufferSize = 128;
static_assert(kTextBufferSize >= KXS_DATE_TEXT_MIN_SIZE);

// Dates are copied bytewise (the variant keeps only the day number).
static_assert(std::is_trivially_copyable_v<KxbDate>);

}  // namespace

KxbDate::KxbDate() : null_(true), value_(0.0) {}

KxbDate::KxbDate(int year, int month, int day, int hour, int minute,
                 int second)
    : null_(true), value_(0.0) {
  null_ = kxs_compose_date(year, month, day, hour, minute, second, &value_) == 0;
}

KxbDate::KxbDate(double value) : null_(true), value_(0.0) {
  setFromDouble(value);
}

KxbDate::KxbDate(const char* text) : null_(true), value_(0.0) { assign(text); }

bool KxbDate::setFromDouble(double value) {
  int e[7];
  if (kxs_decompose_date_milli(value, &e[0], &e[1], &e[2], &e[3], &e[4], &e[5],
                               &e[6]) == 0) {
    return false;
  }
  // The split of a valid number always composes again; recomposing rounds
  // away any fraction finer than a millisecond.
  kxs_compose_date_milli(e[0], e[1], e[2], e[3], e[4], e[5], e[6], &value_);
  null_ = false;
  return true;
}

KxbDate& KxbDate::assign(int year, int month, int day, int hour, int minute,
                         int second, int millisecond) {
  null_ = kxs_compose_date_milli(year, month, day, hour, minute, second,
                                 millisecond, &value_) == 0;
  return *this;
}

KxbDate& KxbDate::assign(const char* text) {
  int e[7];
  double value;
  if (kxs_string_to_date_milli(text, kxs_get_date_format(), &e[0], &e[1],
                               &e[2], &e[3], &e[4], &e[5], &e[6]) == 0 ||
      kxs_compose_date_milli(e[0], e[1], e[2], e[3], e[4], e[5], e[6],
                             &value) == 0) {
    null_ = true;
    return *this;
  }
  value_ = value;
  null_ = false;
  return *this;
}

KxbString KxbDate::asString(bool isoText, bool isoMillis) const {
  int format = KXS_DATE_TEXT_DEFAULT;
  if (isoText) format = isoMillis ? KXS_DATE_TEXT_ISO_MILLI : KXS_DATE_TEXT_ISO;
  char buffer[kTextBufferSize];
  buffer[0] = '\0';
  kxs_date_to_string(value_, format, buffer, kTextBufferSize);
  return KxbString(buffer);
}

KxbString KxbDate::asString(bool isoText) const {
  return asString(isoText, isoText);
}

KxbString KxbDate::asString(int hours, unsigned int minutes) const {
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
  getElements(&year, &month, &day, &hour, &minute, &second, nullptr);

  // The zone designator. Hours of 0 with minutes write the minutes alone,
  // without a sign.
  char zone[32];
  if (hours == 0 && minutes == 0) {
    std::snprintf(zone, sizeof zone, "Z");
  } else {
    int used = 0;
    if (hours != 0) {
      // Widened so that the magnitude of INT_MIN is representable.
      const long long magnitude = hours < 0 ? -static_cast<long long>(hours)
                                            : static_cast<long long>(hours);
      used = std::snprintf(zone, sizeof zone, "%c%02lld",
                           hours < 0 ? '-' : '+', magnitude);
    }
    if (minutes != 0) {
      std::snprintf(zone + used, sizeof zone - used, ":%02u", minutes);
    }
  }

  char text[kTextBufferSize];
  std::snprintf(text, sizeof text, "%d-%02d-%02dT%02d:%02d:%02d%s", year,
                month, day, hour, minute, second, zone);
  return KxbString(text);
}

void KxbDate::getElements(int* year, int* month, int* day, int* hour,
                          int* minute, int* second, int* millisecond) const {
  int e[7] = {0, 0, 0, 0, 0, 0, 0};
  if (!null_) {
    // A date that is not null always holds a valid number; should the split
    // fail anyway, the elements stay 0.
    kxs_decompose_date_milli(value_, &e[0], &e[1], &e[2], &e[3], &e[4], &e[5],
                             &e[6]);
  }
  int* const out[7] = {year, month, day, hour, minute, second, millisecond};
  for (int i = 0; i < 7; ++i) {
    if (out[i] != nullptr) *out[i] = e[i];
  }
}

int KxbDate::getWeekDay() const {
  if (null_) return -1;
  return kxs_day_of_week(value_);
}

int KxbDate::compare(const KxbDate& other) const {
  if (null_) return other.null_ ? 0 : -1;
  if (other.null_) return 1;
  if (value_ < other.value_) return -1;
  return value_ == other.value_ ? 0 : 1;
}

KxbDate KxbDate::currentDate(bool utc) {
  const double now =
      utc || getUseUTC() ? kxs_gmtimetoday() : kxs_timetoday();
  return KxbDate(now);
}

void KxbDate::setUseUTC(bool utc) {
  g_useUTC.store(utc, std::memory_order_relaxed);
}

bool KxbDate::getUseUTC() { return g_useUTC.load(std::memory_order_relaxed); }

bool operator<(const KxbDate& a, const KxbDate& b) {
  if (a.isNull()) return !b.isNull();
  return !b.isNull() && a.asDouble() < b.asDouble();
}
