// Brings the library up for a benchmark or fuzz program, as a host would:
// initialised from the program's own path (the companion libraries lie
// beside it in the build tree), with BASE/TEMP in the effective option set
// pointing at the system's temporary directory. Aborts with the reason when
// the library cannot come up. Header-only: the bench and fuzz programs share
// it without a library of their own.
#ifndef KXB_BENCH_LIBRARY_SETUP_H_
#define KXB_BENCH_LIBRARY_SETUP_H_

#include <cstdio>
#include <cstdlib>

#include "kxbb.h"
#include "kxbconfigoptions.h"
#include "kxbstartup.h"

namespace kxb_bench {

inline bool setUpLibrary() {
  char self[4096];
  const char* error = "cannot find the running program";
  if (kxbbSelfPath(self, sizeof self) != 0 || kxbInitialize(self, &error) != 0) {
    std::fprintf(stderr, "kxb: %s\n", error);
    std::abort();
  }
  kxbGetConfigOptions(KxbString(""))
      ->setOption(KxbString("BASE/TEMP"), KxbString(kxbbGetTempPath()));
  return true;
}

}  // namespace kxb_bench

#endif  // KXB_BENCH_LIBRARY_SETUP_H_
