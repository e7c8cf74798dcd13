// KxbDate: the library's date-and-time value.
//
//   KxbDate date(2024, 3, 7, 9, 5, 0);            // 7 March 2024 09:05:00
//   date.asString(true, false);                   // "2024-03-07T09:05:00"
//   date.asString(-5, 30);                        // "2024-03-07T09:05:00-05:30"
//   KxbDate parsed("7 Mar 2024 9:05");            // the same instant
//   KxbDate now = KxbDate::currentDate(false);    // local time (or UTC, below)
//
// A date is a null flag and a day number: the count of days since 1899-12-30
// with the time of day as the fraction (the platform's date form, see
// kxs_date.h). Later instants have larger numbers. All calendar work is done
// by the platform's date functions; this class adds the null state, ordering,
// an ISO 8601 printer with a zone designator, and the choice of local time or
// UTC for the current date. Elements, wherever they are passed, are ints in
// the order year (2024), month (1 to 12), day of month, hour (0 to 23),
// minute, second and, where present, millisecond.
//
// A null date holds no value. It is null after default construction,
// setNull() and every failed composition or parse; every successful
// assignment clears the flag. A null date still carries a stored number
// (asDouble() returns it), which the text forms of asString print.
//
// A plain value: trivially copyable, no virtual functions, no allocation
// except for the KxbString results of asString. One object is used by one
// thread at a time. Nothing throws or logs.
#ifndef KXB_INCLUDE_KXBDATE_H_
#define KXB_INCLUDE_KXBDATE_H_

#include "kxbstring.h"

class KxbDate {
 public:
  // Null, day number 0.0.
  KxbDate();
  KxbDate(const KxbDate& other) = default;
  KxbDate& operator=(const KxbDate& other) = default;

  // Composes the six elements (milliseconds 0). Null, holding 0.0, when they
  // name no instant of the calendar (30 February, hour 24, year 0).
  KxbDate(int year, int month, int day, int hour, int minute, int second);

  // The instant `value` normalised to whole milliseconds: a number with a
  // finer fraction becomes its nearest millisecond, so it compares equal to
  // the same instant composed from elements. Null, holding 0.0, when `value`
  // is not a day number of the years 1 to 9999 (NaN, infinities, out of
  // range).
  explicit KxbDate(double value);

  // Parses `text` as assign(const char*) does.
  explicit KxbDate(const char* text);

  // Composes the seven elements. The date is null exactly when that fails;
  // the stored number is then left as it was. Returns *this.
  KxbDate& assign(int year, int month, int day, int hour, int minute,
                  int second, int millisecond);

  // Parses a date-and-time text in the process-wide date-element order
  // (kxs_get_date_format): "3/7/2024 9:05", "7 Mar 2024", "2024-03-07T09:05".
  // Null text, unreadable text and a text naming no calendar instant (a time
  // alone, 31 April) make the date null and leave the stored number as it
  // was. Returns *this.
  KxbDate& assign(const char* text);

  // The stored day number, also when the date is null.
  double asDouble() const { return value_; }
  bool isNull() const { return null_; }
  // Sets only the flag; the stored number stays.
  void setNull() { null_ = true; }

  // The platform's text forms, for null dates too (the stored number is
  // printed):
  //   isoText false              "2024-03-07 09:05:00" (".250" appended for
  //                              a date with milliseconds)
  //   isoText and isoMillis      "2024-03-07T09:05:00.250"
  //   isoText and not isoMillis  "2024-03-07T09:05:00"
  // A stored number outside the calendar gives the empty text. Returns a
  // null string when memory ran out.
  KxbString asString(bool isoText, bool isoMillis) const;
  // asString(true, true) when `isoText`, else asString(false, false).
  KxbString asString(bool isoText) const;

  // ISO 8601 without milliseconds, with the zone designator of an offset
  // of `hours` and `minutes`: "2024-03-07T09:05:00Z" for (0, 0),
  // "...-05:30" for (-5, 30), "...+05" for (5, 0) (minutes of 0 are left
  // out), "...-10" for (-10, 0). An offset of 0 hours with minutes writes the
  // minutes alone without a sign: (0, 30) gives "...:30". Hours and minutes
  // are written in at least two digits. The year is written without padding.
  // A null date prints as "0-00-00T00:00:00" and the designator. Returns a
  // null string when memory ran out.
  KxbString asString(int hours, unsigned int minutes) const;

  // Writes the elements through the pointers that are not null; a null date
  // gives zeros.
  void getElements(int* year, int* month, int* day, int* hour, int* minute,
                   int* second, int* millisecond) const;

  // 0 Sunday to 6 Saturday; -1 for a null date.
  int getWeekDay() const;

  // -1, 0 or 1. Two null dates are equal; a null date is less than any other.
  // Otherwise the day numbers are compared.
  int compare(const KxbDate& other) const;

  // The current date and time to the millisecond: UTC when `utc` is true or
  // the process-wide UTC flag is set, else local time.
  static KxbDate currentDate(bool utc);

  // The process-wide UTC flag consulted by currentDate (false when the
  // library is loaded). Start-up sets it from BASE/TIME_BASE ("GMT" sets it,
  // anything else clears it) before other threads use dates; reading it
  // needs no lock.
  static void setUseUTC(bool utc);
  static bool getUseUTC();

 private:
  // Normalises `value` to whole milliseconds into *this; false, leaving
  // *this untouched, when it has no calendar split.
  bool setFromDouble(double value);

  bool null_;
  double value_;
};

// Orders dates for sorted containers: null dates first, then by day number.
bool operator<(const KxbDate& a, const KxbDate& b);

#endif  // KXB_INCLUDE_KXBDATE_H_
