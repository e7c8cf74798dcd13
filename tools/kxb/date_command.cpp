// kxb date, kxb now: a date read from text or taken from the clock, in every
// form KxbDate prints.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "kxbdate.h"
#include "kxbstring.h"
#include "kxs_date.h"
#include "tools/kxb/commands.h"

namespace kxb_tool {
namespace {

constexpr const char* kDateUsage =
    "usage: kxb date TEXT [--order mdy|dmy|ymd] [--iso] [--zone H:M]";
constexpr const char* kNowUsage = "usage: kxb now [--utc] [--iso] [--zone H:M]";

const char* const kWeekDays[7] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                  "Thursday", "Friday", "Saturday"};

// What to print: everything, or with --iso only the ISO 8601 text (with the
// zone designator when a zone is given).
struct PrintOptions {
  bool isoOnly = false;
  bool hasZone = false;
  int zoneHours = 0;
  unsigned zoneMinutes = 0;
};

// A whole decimal number in [low, high] filling all of `text`.
bool parseNumber(const char* text, long low, long high, long* value) {
  if (*text == '\0') return false;
  char* end = nullptr;
  errno = 0;
  const long parsed = std::strtol(text, &end, 10);
  if (errno != 0 || *end != '\0' || parsed < low || parsed > high) return false;
  *value = parsed;
  return true;
}

// "H" or "H:M": hours -23 to +23 with an optional sign, minutes 0 to 59.
bool parseZone(const char* text, PrintOptions* options) {
  char hours[16];
  const char* colon = std::strchr(text, ':');
  const size_t hoursLength = colon ? static_cast<size_t>(colon - text)
                                   : std::strlen(text);
  if (hoursLength == 0 || hoursLength >= sizeof hours) return false;
  std::memcpy(hours, text, hoursLength);
  hours[hoursLength] = '\0';
  long h = 0;
  long m = 0;
  if (!parseNumber(hours, -23, 23, &h)) return false;
  if (colon != nullptr && (colon[1] == '+' || colon[1] == '-' ||
                           !parseNumber(colon + 1, 0, 59, &m))) {
    return false;
  }
  options->hasZone = true;
  options->zoneHours = static_cast<int>(h);
  options->zoneMinutes = static_cast<unsigned>(m);
  return true;
}

// Consumes the options shared by both commands at argv[*i]; returns 1 when
// consumed, 0 when argv[*i] is not one of them, -1 on a bad value.
int parseCommonOption(int argc, char** argv, int* i, PrintOptions* options) {
  if (std::strcmp(argv[*i], "--iso") == 0) {
    options->isoOnly = true;
    return 1;
  }
  if (std::strcmp(argv[*i], "--zone") == 0) {
    if (*i + 1 >= argc || !parseZone(argv[*i + 1], options)) return -1;
    ++*i;
    return 1;
  }
  return 0;
}

int print(const KxbDate& date, const PrintOptions& options) {
  if (options.isoOnly) {
    const KxbString text =
        options.hasZone ? date.asString(options.zoneHours, options.zoneMinutes)
                        : date.asString(true, true);
    if (text.isNull()) return fail(1, "out of memory");
    std::printf("%s\n", text.asCstr());
    return 0;
  }
  const KxbString text = date.asString(false, false);
  const KxbString isoMillis = date.asString(true, true);
  const KxbString iso = date.asString(true, false);
  KxbString zoned;
  if (options.hasZone) {
    zoned = date.asString(options.zoneHours, options.zoneMinutes);
  }
  if (text.isNull() || isoMillis.isNull() || iso.isNull() ||
      (options.hasZone && zoned.isNull())) {
    return fail(1, "out of memory");
  }
  int e[7];
  date.getElements(&e[0], &e[1], &e[2], &e[3], &e[4], &e[5], &e[6]);
  const int weekDay = date.getWeekDay();
  std::printf("day number: %.17g\n", date.asDouble());
  std::printf(
      "elements:   year=%d month=%d day=%d hour=%d minute=%d second=%d "
      "millisecond=%d\n",
      e[0], e[1], e[2], e[3], e[4], e[5], e[6]);
  std::printf("text:       %s\n", text.asCstr());
  std::printf("iso:        %s\n", isoMillis.asCstr());
  std::printf("iso (s):    %s\n", iso.asCstr());
  if (options.hasZone) std::printf("zoned:      %s\n", zoned.asCstr());
  std::printf("week day:   %d (%s)\n", weekDay,
              weekDay >= 0 && weekDay < 7 ? kWeekDays[weekDay] : "?");
  return 0;
}

}  // namespace

int runDate(int argc, char** argv) {
  const char* text = nullptr;
  int order = kxs_get_date_format();
  PrintOptions options;
  for (int i = 0; i < argc; ++i) {
    const int common = parseCommonOption(argc, argv, &i, &options);
    if (common < 0) return fail(2, "--zone takes H or H:M (-23..23, 0..59)");
    if (common > 0) continue;
    if (std::strcmp(argv[i], "--order") == 0) {
      if (i + 1 >= argc) return fail(2, "--order takes mdy, dmy or ymd");
      const char* name = argv[++i];
      if (std::strcmp(name, "mdy") == 0) {
        order = KXS_DATE_ORDER_MDY;
      } else if (std::strcmp(name, "dmy") == 0) {
        order = KXS_DATE_ORDER_DMY;
      } else if (std::strcmp(name, "ymd") == 0) {
        order = KXS_DATE_ORDER_YMD;
      } else {
        return fail(2, "--order takes mdy, dmy or ymd");
      }
    } else if (text == nullptr) {
      text = argv[i];
    } else {
      return fail(2, kDateUsage);
    }
  }
  if (text == nullptr) return fail(2, kDateUsage);
  // KxbDate reads texts in the process-wide order.
  kxs_set_date_format(order);
  const KxbDate date(text);
  if (date.isNull()) {
    std::fprintf(stderr, "kxb: '%s' is not a date\n", text);
    return 1;
  }
  return print(date, options);
}

int runNow(int argc, char** argv) {
  bool utc = false;
  PrintOptions options;
  for (int i = 0; i < argc; ++i) {
    const int common = parseCommonOption(argc, argv, &i, &options);
    if (common < 0) return fail(2, "--zone takes H or H:M (-23..23, 0..59)");
    if (common > 0) continue;
    if (std::strcmp(argv[i], "--utc") == 0) {
      utc = true;
    } else {
      return fail(2, kNowUsage);
    }
  }
  const KxbDate now = KxbDate::currentDate(utc);
  if (now.isNull()) return fail(1, "cannot read the system clock");
  return print(now, options);
}

}  // namespace kxb_tool
