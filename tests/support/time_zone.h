// Runs a test under a chosen time zone.
#ifndef KXB_TESTS_SUPPORT_TIME_ZONE_H_
#define KXB_TESTS_SUPPORT_TIME_ZONE_H_

#include <optional>
#include <string>

namespace kxb_test {

// Sets TZ (a POSIX zone such as "XST-5:30" or "UTC0") for the life of the
// object and puts the old setting back after; local times follow at once.
class ScopedTimeZone {
 public:
  explicit ScopedTimeZone(const char* zone);
  ~ScopedTimeZone();
  ScopedTimeZone(const ScopedTimeZone&) = delete;
  ScopedTimeZone& operator=(const ScopedTimeZone&) = delete;

 private:
  std::optional<std::string> old_;
};

}  // namespace kxb_test

#endif  // KXB_TESTS_SUPPORT_TIME_ZONE_H_
