// Calendar dates with a time of day as one number, and their text forms.
//
// The day number. A date and time is a double: the count of days since
// 1899-12-30 00:00:00 (day 0) plus the time of day as the fraction of a day.
// The fraction always counts forward from the start of its day, also before
// day 0: 1899-12-29 18:00 is -1 + 0.75 = -0.25 (an OLE automation date would
// write it -1.75). Later instants therefore always have larger numbers, and
// day numbers order, compare and subtract as plain doubles. The calendar is
// the proleptic Gregorian one over the years 1 to 9999 (day -693593 is
// 0001-01-01, day 2958465 is 9999-12-31); every day has 86,400 seconds. No
// time zone is attached: the number is the clock time of whatever zone the
// caller means (kxs_timetoday gives local time, kxs_gmtimetoday UTC).
//
// Composition stores the instant as whole milliseconds divided by 86,400,000
// (one rounding), and decomposition rounds the number to the nearest
// millisecond first, so every millisecond of the range survives a round trip
// exactly and a number with a finer fraction reads as its nearest millisecond.
//
// Elements, wherever they are passed, are ints in the order year (full year,
// 1 to 9999), month (1 to 12), day of month (1 to 28..31), hour (0 to 23),
// minute (0 to 59), second (0 to 59) and, where present, millisecond (0 to
// 999).
//
// Every function is thread-safe, allocates nothing and ignores the process
// locale (month names are English). Functions returning int report success
// with 1 and failure with 0; on failure they leave every output untouched
// unless said otherwise.
#ifndef KXB_PLATFORM_KXS_DATE_H_
#define KXB_PLATFORM_KXS_DATE_H_

#ifdef __cplusplus
extern "C" {
#endif

// Date-element orders: in which order month, day and year stand in a
// numeric date text.
enum {
  KXS_DATE_ORDER_MDY = 0,  // 03/07/2024 is 7 March 2024
  KXS_DATE_ORDER_DMY = 1,  // 07/03/2024 is 7 March 2024
  KXS_DATE_ORDER_YMD = 2   // 24/03/07 is 7 March 2024
};

// Format codes of kxs_date_to_string. Years are always written with four
// digits (zero-padded), month, day, hour, minute and second with two and
// milliseconds with three; no zone designator is written.
enum {
  // "2024-03-07 09:05:00", with ".250" appended when the milliseconds are
  // not 0: lossless at millisecond resolution, the same in every date order.
  KXS_DATE_TEXT_DEFAULT = 0,
  // ISO 8601 with milliseconds: "2024-03-07T09:05:00.250".
  KXS_DATE_TEXT_ISO_MILLI = 1,
  // ISO 8601 without milliseconds: "2024-03-07T09:05:00" (the milliseconds
  // are dropped, not rounded).
  KXS_DATE_TEXT_ISO = 17
};

// The longest text kxs_date_to_string writes is 23 bytes; a buffer of this
// size (the terminator included) holds every form.
#define KXS_DATE_TEXT_MIN_SIZE 24

// Composes a day number from six elements (milliseconds 0). Returns 1 and
// writes *date; returns 0 when an element is out of its range or names a day
// the month does not have (30 February, 29 February 2023, hour 24, month 13)
// or `date` is null.
int kxs_compose_date(int year, int month, int day, int hour, int minute,
                     int second, double* date);

// As kxs_compose_date, with the milliseconds (0 to 999) as a seventh element.
int kxs_compose_date_milli(int year, int month, int day, int hour, int minute,
                           int second, int millisecond, double* date);

// Splits a day number into its elements after rounding it to the nearest
// millisecond; the milliseconds are then dropped (12:00:00.999 gives 12:00:00,
// so the split never moves an instant forward). Any output pointer may be
// null. Returns 0 for NaN, infinities and numbers outside 0001-01-01 00:00:00
// to 9999-12-31 23:59:59.999 once rounded.
int kxs_decompose_date(double date, int* year, int* month, int* day,
                       int* hour, int* minute, int* second);

// As kxs_decompose_date, also giving the milliseconds.
int kxs_decompose_date_milli(double date, int* year, int* month, int* day,
                             int* hour, int* minute, int* second,
                             int* millisecond);

// The day of the week of a day number: 0 Sunday to 6 Saturday; -1 when
// kxs_decompose_date would fail.
int kxs_day_of_week(double date);

// Parses a date-and-time text into seven elements. `order` is one of
// KXS_DATE_ORDER_* and says how to read a date whose fields are ambiguous.
// Blanks (space, tab, CR, LF) may surround the text; the whole text must be
// consumed. Letters are matched without regard to case. Accepted forms:
//
//  * Numeric dates: three numbers split by "/", "-" or "." (the same
//    separator twice), read in `order`: "3/7/2024", "07-03-2024", "24.03.07".
//    A date whose first number has three or four digits is always read
//    year-month-day whatever `order` says ("2024/3/7").
//  * Dates with a month name: the English name ("March") or its first three
//    letters ("Mar") with a day and a year, in any position, split by one of
//    "/", "-", "." (the same twice) or by blanks, each run of blanks holding
//    at most one ",": "March 7, 2024", "7 Mar 2024", "07-Mar-2024",
//    "2024 Mar 7".
//    A number of three or four digits is the year; otherwise the day and the
//    year stand in the order `order` gives them ("Mar 7 24": MDY and DMY read
//    day 7 of 2024, YMD reads day 24 of 2007).
//  * Years: three or four digits are taken as written ("0099" is the year
//    99); one or two digits are mapped into 1930 to 2029: 0 to 29 give 2000
//    to 2029, 30 to 99 give 1930 to 1999.
//  * An optional time after the date and one or more blanks: hour (one or two
//    digits), ":", minute (two digits), optionally ":" and second (two
//    digits), optionally "." and one to nine fraction digits (milliseconds,
//    further digits dropped), optionally blanks and "AM" or "PM". With AM/PM
//    the hour is 1 to 12; 12 AM is hour 0 and 12 PM hour 12.
//  * A time alone, in the form above ("9:05 PM"): the year, month and day
//    elements are then 0 (a text kxs_compose_date_milli rejects).
//  * ISO 8601 in the extended form "2024-03-07", "2024-03-07T09:05",
//    "2024-03-07T09:05:07" with a fraction after "." or ",", and the basic
//    form "20240307", "20240307T0905", "20240307T090507" with a fraction;
//    whatever `order` says. A time after "T" is 24-hour with a two-digit
//    hour. A zone designator may follow the time of an ISO date ("Z",
//    "+05", "-0800", "+05:30", also after a blank-separated 24-hour time);
//    it is checked (hours 0 to 23, minutes 0 to 59) and ignored: the
//    elements are the clock time as written.
//
// Every element is checked: dates the calendar does not have, hours beyond
// 23, minutes or seconds beyond 59 fail. Every text kxs_date_to_string writes
// is accepted in every order. Returns 1 and writes the elements through the
// pointers that are not null; returns 0 for a null text, an unknown order or
// a text that does not match.
int kxs_string_to_date_milli(const char* text, int order, int* year,
                             int* month, int* day, int* hour, int* minute,
                             int* second, int* millisecond);

// As kxs_string_to_date_milli without the milliseconds (dropped).
int kxs_string_to_date(const char* text, int order, int* year, int* month,
                       int* day, int* hour, int* minute, int* second);

// The process-wide date-element order used to read date texts whose order is
// not given otherwise: one of KXS_DATE_ORDER_*, KXS_DATE_ORDER_MDY until
// changed.
int kxs_get_date_format(void);

// Sets the process-wide date-element order. Returns 0 and changes nothing
// when `order` is not one of KXS_DATE_ORDER_*.
int kxs_set_date_format(int order);

// Writes the text of a day number in format `format` (KXS_DATE_TEXT_*) into
// `buffer` of `size` bytes, terminated. Returns the text's byte length
// (without the terminator; always more than 0). Returns 0, leaving "" in the
// buffer when size is more than 0, for an unknown format, a number
// kxs_decompose_date_milli rejects or a buffer too small for the text.
int kxs_date_to_string(double date, int format, char* buffer, int size);

// The current date and time from the system clock, to the millisecond: in
// the process's local time zone (kxs_timetoday) or in UTC (kxs_gmtimetoday).
// Returns 0.0 in the unlikely case that the clock cannot be read or lies
// outside the years 1 to 9999.
double kxs_timetoday(void);
double kxs_gmtimetoday(void);

#ifdef __cplusplus
}
#endif

#endif  // KXB_PLATFORM_KXS_DATE_H_
