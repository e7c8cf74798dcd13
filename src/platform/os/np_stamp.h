// Time stamps, durations and unique identifiers.
//
// A stamp is a reading of the monotonic clock (CLOCK_MONOTONIC): seconds and
// nanoseconds since an unspecified start, only meaningful against another
// stamp of the same process. That clock never steps when the system's time
// is set, but it is slewed (run slightly fast or slow) while time
// synchronisation corrects the system clock. In safe mode stamps come from
// the raw hardware clock instead (CLOCK_MONOTONIC_RAW), which nothing
// adjusts, shifted so that the sequence of stamps stays continuous and never
// goes back across the switch. A duration is whole seconds, then thousandths
// and millionths of a second (each 0..999 for a normalised value; the sign of
// a negative duration is carried by every field), in 16 bytes.
#ifndef KXB_PLATFORM_NP_STAMP_H_
#define KXB_PLATFORM_NP_STAMP_H_

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct np_stamp {
  int64_t seconds;
  int64_t nanoseconds;
} np_stamp;

typedef struct np_duration {
  int64_t seconds;
  int16_t milli;  // thousandths
  int16_t micro;  // millionths
  int32_t reserved;
} np_duration;

void np_stamp_current(np_stamp* now);
// later - earlier, as a normalised duration.
void np_stamp_diff(const np_stamp* earlier, const np_stamp* later,
                   np_duration* out);
// a - b of two durations, normalised.
void np_duration_diff(const np_duration* a, const np_duration* b,
                      np_duration* out);
// Switches the process to safe mode (above) for every later stamp; further
// calls change nothing. Start-up calls it when BASE/HIGH_PRECISION_TIMER is
// set. Thread-safe. Where the raw clock cannot be read the monotonic clock
// stays in use and np_stamp_safe_mode reports 0.
void np_stamp_set_safe_mode(void);
// 1 once safe mode is in force, else 0.
int np_stamp_safe_mode(void);

// The wall clock: seconds and nanoseconds since 1970-01-01 00:00 UTC.
// 0, or the system's error number (now is then left as it was).
int np_stamp_realtime(np_stamp* now);

// A moment broken into the calendar fields of the process's time zone.
typedef struct np_civil_time {
  int year;    // e.g. 2024
  int month;   // 1..12
  int day;     // 1..31
  int hour;    // 0..23
  int minute;  // 0..59
  int second;  // 0..60 (60 only for a leap second)
} np_civil_time;

// Local time of `unixSeconds` (seconds since 1970-01-01 00:00 UTC) under
// the time zone in force (TZ, else the system's). 0, or EOVERFLOW when the
// year does not fit.
int np_stamp_localtime(int64_t unixSeconds, np_civil_time* out);
// Reads the time zone setting (TZ) again, after it was changed through
// np_env_set, so that later local times follow it.
void np_stamp_reload_timezone(void);

// Writes a fresh random (version 4) UUID in its canonical lower-case text
// form "xxxxxxxx-xxxx-4xxx-yxxx-xxxxxxxxxxxx" (36 characters and a NUL) into
// `buffer`. Returns 0 on success, non-zero when size < 37 or the system's
// random source failed (buffer then holds "").
int np_uniq_s64(char* buffer, int size);

#ifdef __cplusplus
}
#endif

#endif  // KXB_PLATFORM_NP_STAMP_H_
