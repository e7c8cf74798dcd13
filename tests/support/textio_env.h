// Loads the text IO companion library for a test program.
//
// A test file that opens text files, directory listings or configuration
// files registers the environment once, at namespace scope:
//
//   const bool kTextIO = kxb_test::useTextIO();
//
// The library is then loaded from $KXB_BIN_DIR (set by ctest; else the test
// program's own directory) before the first test and unloaded after the
// last. A load failure fails every test of the program with the reason.
// The environment also points KAXEL_ERROR_LOCATION at the source tree's
// message catalogue when it is not set, so that errors carry their texts.
#ifndef KXB_TESTS_SUPPORT_TEXTIO_ENV_H_
#define KXB_TESTS_SUPPORT_TEXTIO_ENV_H_

#include <string>

namespace kxb_test {

// Registers the environment (once per program, however often called);
// returns true.
bool useTextIO();
// The directory the companion libraries are loaded from.
std::string companionDirectory();

}  // namespace kxb_test

#endif  // KXB_TESTS_SUPPORT_TEXTIO_ENV_H_
