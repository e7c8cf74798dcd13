#include "support/time_zone.h"

#include "np_env.h"
#include "np_stamp.h"

namespace kxb_test {

ScopedTimeZone::ScopedTimeZone(const char* zone) {
  char old[256];
  if (np_env_get("TZ", old, sizeof old) == NP_ENV_FOUND) old_ = old;
  np_env_set("TZ", zone);
  np_stamp_reload_timezone();
}

ScopedTimeZone::~ScopedTimeZone() {
  np_env_set("TZ", old_ ? old_->c_str() : nullptr);
  np_stamp_reload_timezone();
}

}  // namespace kxb_test
