// The date-and-time text parser: numeric dates in a given element order,
// dates with English month names, times with AM/PM, and ISO 8601.
//
// A recursive-descent scan over the NUL-terminated text; it neither
// allocates nor consults the locale. Elements are collected in a local
// record and only copied out once the whole text has matched and every
// element has been checked.
#include "kxs_date.h"

#include "kxs_ascii.h"

namespace {

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isAlpha(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
using kxs_ascii::lower;

const char* skipBlanks(const char* p) {
  while (isBlank(*p)) ++p;
  return p;
}

// Reads a run of digits. Returns how many there were (0 when none); *value
// gets their value when there are at most 9 of them (callers reject longer
// runs).
int readNumber(const char*& p, int* value) {
  int count = 0;
  int v = 0;
  while (isDigit(*p)) {
    if (count < 9) v = v * 10 + (*p - '0');
    ++count;
    ++p;
  }
  *value = v;
  return count;
}

// Reads exactly `width` digits.
bool readFixed(const char*& p, int width, int* value) {
  int v = 0;
  for (int i = 0; i < width; ++i) {
    if (!isDigit(p[i])) return false;
    v = v * 10 + (p[i] - '0');
  }
  p += width;
  *value = v;
  return true;
}

// Reads one to nine fraction digits as milliseconds; digits after the third
// are dropped.
bool readFraction(const char*& p, int* milli) {
  int count = 0;
  int ms = 0;
  while (isDigit(*p)) {
    if (count < 3) ms = ms * 10 + (*p - '0');
    ++count;
    ++p;
  }
  if (count < 1 || count > 9) return false;
  for (int i = count; i < 3; ++i) ms *= 10;
  *milli = ms;
  return true;
}

// Matches a whole run of letters against a word, ignoring case.
bool matchesWord(const char* run, int length, const char* word) {
  int i = 0;
  for (; i < length; ++i) {
    if (word[i] == '\0' || lower(run[i]) != word[i]) return false;
  }
  return word[i] == '\0';
}

// The month (1 to 12) named by a run of letters: the English name or its
// first three letters; 0 for anything else.
int monthFromWord(const char* run, int length) {
  static const char* const kNames[12] = {
      "january", "february", "march",     "april",   "may",      "june",
      "july",    "august",   "september", "october", "november", "december"};
  for (int m = 0; m < 12; ++m) {
    if (matchesWord(run, length, kNames[m])) return m + 1;
    if (length == 3 && lower(run[0]) == kNames[m][0] &&
        lower(run[1]) == kNames[m][1] && lower(run[2]) == kNames[m][2]) {
      return m + 1;
    }
  }
  return 0;
}

struct Field {
  bool isMonthName;
  int value;
  int digits;  // for numbers
};

bool readField(const char*& p, Field* f) {
  if (isDigit(*p)) {
    f->isMonthName = false;
    f->digits = readNumber(p, &f->value);
    return true;
  }
  if (!isAlpha(*p)) return false;
  const char* start = p;
  while (isAlpha(*p)) ++p;
  f->isMonthName = true;
  f->digits = 0;
  f->value = monthFromWord(start, static_cast<int>(p - start));
  return f->value != 0;
}

enum class SepKind { kPunct, kSpace };
struct Sep {
  SepKind kind;
  char c;
};

// A date separator: one of "/", "-", ".", or blanks with at most one ","
// among them.
bool readSeparator(const char*& p, Sep* s) {
  if (*p == '/' || *p == '-' || *p == '.') {
    s->kind = SepKind::kPunct;
    s->c = *p++;
    return true;
  }
  const char* q = skipBlanks(p);
  if (*q == ',') q = skipBlanks(q + 1);
  if (q == p) return false;
  s->kind = SepKind::kSpace;
  s->c = ' ';
  p = q;
  return true;
}

// A year of one or two digits is mapped into 1930..2029.
int fullYear(const Field& f) {
  if (f.digits > 2) return f.value;
  return f.value < 30 ? 2000 + f.value : 1900 + f.value;
}

struct Result {
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0,
      milli = 0;
};

enum class IsoForm { kNone, kExtended, kBasic };

bool parseDate(const char*& p, int order, Result* r, IsoForm* iso) {
  *iso = IsoForm::kNone;
  Field f[3];
  if (!readField(p, &f[0])) return false;
  if (!f[0].isMonthName && f[0].digits == 8) {
    r->year = f[0].value / 10000;
    r->month = f[0].value / 100 % 100;
    r->day = f[0].value % 100;
    *iso = IsoForm::kBasic;
    return true;
  }
  Sep s[2];
  if (!readSeparator(p, &s[0]) || !readField(p, &f[1]) ||
      !readSeparator(p, &s[1]) || !readField(p, &f[2])) {
    return false;
  }
  int names = 0;
  for (const Field& x : f) {
    if (x.isMonthName) ++names;
    if (x.digits > 4) return false;
  }
  const bool samePunct = s[0].kind == SepKind::kPunct &&
                         s[1].kind == SepKind::kPunct && s[0].c == s[1].c;

  if (names == 0) {
    if (!samePunct) return false;
    const Field *y, *m, *d;
    if (f[0].digits >= 3 || order == KXS_DATE_ORDER_YMD) {
      y = &f[0], m = &f[1], d = &f[2];
    } else if (order == KXS_DATE_ORDER_MDY) {
      m = &f[0], d = &f[1], y = &f[2];
    } else {
      d = &f[0], m = &f[1], y = &f[2];
    }
    if (m->digits > 2 || d->digits > 2) return false;
    r->year = fullYear(*y);
    r->month = m->value;
    r->day = d->value;
    if (f[0].digits == 4 && s[0].c == '-' && f[1].digits == 2 &&
        f[2].digits == 2) {
      *iso = IsoForm::kExtended;
    }
    return true;
  }

  if (names != 1) return false;
  const bool bothSpace =
      s[0].kind == SepKind::kSpace && s[1].kind == SepKind::kSpace;
  if (!samePunct && !bothSpace) return false;
  const Field* numbers[2];
  int n = 0;
  for (const Field& x : f) {
    if (x.isMonthName) {
      r->month = x.value;
    } else {
      numbers[n++] = &x;
    }
  }
  const Field* a = numbers[0];
  const Field* b = numbers[1];
  const bool aLong = a->digits > 2;
  const bool bLong = b->digits > 2;
  if (aLong && bLong) return false;
  const Field *y, *d;
  if (aLong || (!bLong && order == KXS_DATE_ORDER_YMD)) {
    y = a, d = b;
  } else {
    d = a, y = b;
  }
  r->year = fullYear(*y);
  r->day = d->value;
  return true;
}

// "h:mm", "h:mm:ss" or "h:mm:ss.fff" with an optional AM/PM after blanks.
bool parseClock(const char*& p, Result* r, bool* hadAmPm) {
  *hadAmPm = false;
  const int hourDigits = readNumber(p, &r->hour);
  if (hourDigits < 1 || hourDigits > 2 || *p != ':') return false;
  ++p;
  if (!readFixed(p, 2, &r->minute)) return false;
  if (*p == ':') {
    ++p;
    if (!readFixed(p, 2, &r->second)) return false;
    if (*p == '.') {
      ++p;
      if (!readFraction(p, &r->milli)) return false;
    }
  }
  if (isDigit(*p)) return false;  // "9:055"

  const char* q = skipBlanks(p);
  const char c0 = lower(q[0]);
  if ((c0 == 'a' || c0 == 'p') && lower(q[1]) == 'm' && !isAlpha(q[2])) {
    if (r->hour < 1 || r->hour > 12) return false;
    if (c0 == 'a') {
      if (r->hour == 12) r->hour = 0;
    } else if (r->hour != 12) {
      r->hour += 12;
    }
    *hadAmPm = true;
    p = q + 2;
  }
  return true;
}

// The ISO 8601 time after "T": "hh:mm[:ss[.f]]" (extended) or
// "hhmm[ss[.f]]" (basic), the fraction also after ",".
bool parseIsoTime(const char*& p, IsoForm form, Result* r) {
  if (!readFixed(p, 2, &r->hour)) return false;
  if (form == IsoForm::kExtended) {
    if (*p != ':') return false;
    ++p;
  }
  if (!readFixed(p, 2, &r->minute)) return false;
  const bool hasSeconds = form == IsoForm::kExtended ? *p == ':' : isDigit(*p);
  if (hasSeconds) {
    if (form == IsoForm::kExtended) ++p;
    if (!readFixed(p, 2, &r->second)) return false;
    if (*p == '.' || *p == ',') {
      ++p;
      if (!readFraction(p, &r->milli)) return false;
    }
  }
  return !isDigit(*p);
}

// An optional zone designator: "Z", "+hh", "+hhmm" or "+hh:mm" (or "-").
// Checked, then ignored.
bool skipZone(const char*& p) {
  if (*p == 'Z' || *p == 'z') {
    ++p;
    return true;
  }
  if (*p != '+' && *p != '-') return true;
  ++p;
  int hours, minutes = 0;
  if (!readFixed(p, 2, &hours)) return false;
  if (*p == ':') {
    ++p;
    if (!readFixed(p, 2, &minutes)) return false;
  } else if (isDigit(*p) && !readFixed(p, 2, &minutes)) {
    return false;
  }
  return hours <= 23 && minutes <= 59 && !isDigit(*p);
}

// A time standing alone: starts with digits and a ":".
bool looksLikeClock(const char* p) {
  while (isDigit(*p)) ++p;
  return *p == ':';
}

bool parse(const char* text, int order, Result* r) {
  const char* p = skipBlanks(text);
  if (looksLikeClock(p)) {
    bool hadAmPm;
    if (!parseClock(p, r, &hadAmPm)) return false;
    if (*skipBlanks(p) != '\0') return false;
    return r->hour <= 23 && r->minute <= 59 && r->second <= 59;
  }

  IsoForm iso;
  if (!parseDate(p, order, r, &iso)) return false;
  if (*p == 'T' || *p == 't') {
    if (iso == IsoForm::kNone) return false;
    ++p;
    if (!parseIsoTime(p, iso, r) || !skipZone(p)) return false;
  } else if (isBlank(*p)) {
    p = skipBlanks(p);
    if (*p != '\0') {
      bool hadAmPm;
      if (!parseClock(p, r, &hadAmPm)) return false;
      if (iso != IsoForm::kNone && !hadAmPm && !skipZone(p)) return false;
    }
  }
  if (*skipBlanks(p) != '\0') return false;
  // Composition checks every element against the calendar.
  double unused;
  return kxs_compose_date_milli(r->year, r->month, r->day, r->hour, r->minute,
                                r->second, r->milli, &unused) != 0;
}

}  // namespace

extern "C" int kxs_string_to_date_milli(const char* text, int order, int* year,
                                        int* month, int* day, int* hour,
                                        int* minute, int* second,
                                        int* millisecond) {
  if (text == nullptr || order < KXS_DATE_ORDER_MDY ||
      order > KXS_DATE_ORDER_YMD) {
    return 0;
  }
  Result r;
  if (!parse(text, order, &r)) return 0;
  if (year != nullptr) *year = r.year;
  if (month != nullptr) *month = r.month;
  if (day != nullptr) *day = r.day;
  if (hour != nullptr) *hour = r.hour;
  if (minute != nullptr) *minute = r.minute;
  if (second != nullptr) *second = r.second;
  if (millisecond != nullptr) *millisecond = r.milli;
  return 1;
}

extern "C" int kxs_string_to_date(const char* text, int order, int* year,
                                  int* month, int* day, int* hour, int* minute,
                                  int* second) {
  return kxs_string_to_date_milli(text, order, year, month, day, hour, minute,
                                  second, nullptr);
}
