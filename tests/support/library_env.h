// Every test program starts with the memory pool and logging up (as the
// library's initialisation would leave them) and takes them down at the end.
// Tests that need a fresh pool use PoolRestart.
//
// Every program also checks, once its environments are torn down, that the
// process holds no descriptor it did not hold before they were set up and
// has no child process left (running or uncollected); each one found fails
// the program with its descriptor's target or the child's pid and name.
#ifndef KXB_TESTS_SUPPORT_LIBRARY_ENV_H_
#define KXB_TESTS_SUPPORT_LIBRARY_ENV_H_

namespace kxb_test {

// Tears the process's pool down completely and builds a new one for the
// scope's lifetime (statistics and chunks start from zero), then restores a
// pool for the tests that follow. Every string made before must be gone.
class PoolRestart {
 public:
  PoolRestart();
  ~PoolRestart();
  PoolRestart(const PoolRestart&) = delete;
  PoolRestart& operator=(const PoolRestart&) = delete;

 private:
  int savedUsers_;
};

}  // namespace kxb_test

#endif  // KXB_TESTS_SUPPORT_LIBRARY_ENV_H_
