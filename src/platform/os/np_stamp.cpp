#include "np_stamp.h"

#include <errno.h>
#include <sys/random.h>
#include <time.h>

#include <atomic>
#include <cstdio>
#include <mutex>

namespace {

// Safe mode: nanoseconds added to the raw clock so that it continues the
// monotonic clock where the switch happened. Written once, before the flag.
std::atomic<bool> g_safeMode{false};
__int128 g_rawOffset = 0;
std::mutex g_switchMutex;

__int128 nanosOf(clockid_t clock) {
  struct timespec ts;
  clock_gettime(clock, &ts);
  return static_cast<__int128>(ts.tv_sec) * 1000000000 + ts.tv_nsec;
}

// Brings every field of a duration into 0..999 (or -999..0 for a negative
// one), working from a total in millionths.
void normalise(__int128 micros, np_duration* out) {
  out->seconds = static_cast<int64_t>(micros / 1000000);
  int64_t rest = static_cast<int64_t>(micros % 1000000);
  out->milli = static_cast<int16_t>(rest / 1000);
  out->micro = static_cast<int16_t>(rest % 1000);
  out->reserved = 0;
}

__int128 toMicros(const np_duration* d) {
  return static_cast<__int128>(d->seconds) * 1000000 + d->milli * 1000 + d->micro;
}

}  // namespace

extern "C" void np_stamp_current(np_stamp* now) {
  if (g_safeMode.load(std::memory_order_acquire)) {
    __int128 nanos = nanosOf(CLOCK_MONOTONIC_RAW) + g_rawOffset;
    now->seconds = static_cast<int64_t>(nanos / 1000000000);
    now->nanoseconds = static_cast<int64_t>(nanos % 1000000000);
    return;
  }
  struct timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  now->seconds = ts.tv_sec;
  now->nanoseconds = ts.tv_nsec;
}

extern "C" int np_stamp_realtime(np_stamp* now) {
  struct timespec ts;
  if (clock_gettime(CLOCK_REALTIME, &ts) != 0) return errno;
  now->seconds = ts.tv_sec;
  now->nanoseconds = ts.tv_nsec;
  return 0;
}

extern "C" int np_stamp_localtime(int64_t unixSeconds, np_civil_time* out) {
  const time_t seconds = static_cast<time_t>(unixSeconds);
  struct tm local;
  if (localtime_r(&seconds, &local) == nullptr) return EOVERFLOW;
  out->year = local.tm_year + 1900;
  out->month = local.tm_mon + 1;
  out->day = local.tm_mday;
  out->hour = local.tm_hour;
  out->minute = local.tm_min;
  out->second = local.tm_sec;
  return 0;
}

extern "C" void np_stamp_reload_timezone(void) { tzset(); }

extern "C" void np_stamp_diff(const np_stamp* earlier, const np_stamp* later,
                              np_duration* out) {
  __int128 nanos =
      (static_cast<__int128>(later->seconds) - earlier->seconds) * 1000000000 +
      (later->nanoseconds - earlier->nanoseconds);
  normalise(nanos / 1000, out);
}

extern "C" void np_duration_diff(const np_duration* a, const np_duration* b,
                                 np_duration* out) {
  normalise(toMicros(a) - toMicros(b), out);
}

extern "C" void np_stamp_set_safe_mode(void) {
  std::lock_guard<std::mutex> hold(g_switchMutex);
  if (g_safeMode.load(std::memory_order_relaxed)) return;
  struct timespec probe;
  if (clock_gettime(CLOCK_MONOTONIC_RAW, &probe) != 0) return;
  // The raw clock is read before the monotonic one, so the offset errs
  // towards the later reading: a stamp taken after the switch is never
  // earlier than one taken before it.
  __int128 raw = nanosOf(CLOCK_MONOTONIC_RAW);
  g_rawOffset = nanosOf(CLOCK_MONOTONIC) - raw;
  g_safeMode.store(true, std::memory_order_release);
}

extern "C" int np_stamp_safe_mode(void) {
  return g_safeMode.load(std::memory_order_acquire) ? 1 : 0;
}

extern "C" int np_uniq_s64(char* buffer, int size) {
  if (buffer == nullptr || size < 37) {
    if (buffer != nullptr && size > 0) buffer[0] = '\0';
    return 1;
  }
  unsigned char bytes[16];
  size_t got = 0;
  while (got < sizeof bytes) {
    ssize_t n = getrandom(bytes + got, sizeof bytes - got, 0);
    if (n < 0) {
      if (errno == EINTR) continue;
      buffer[0] = '\0';
      return 1;
    }
    got += static_cast<size_t>(n);
  }
  bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0F) | 0x40);  // version 4
  bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3F) | 0x80);  // RFC 4122
  static const char kHex[] = "0123456789abcdef";
  char* p = buffer;
  for (int i = 0; i < 16; ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) *p++ = '-';
    *p++ = kHex[bytes[i] >> 4];
    *p++ = kHex[bytes[i] & 0x0F];
  }
  *p = '\0';
  return 0;
}
