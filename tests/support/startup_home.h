// StartupHome: an installation home in a fresh temporary directory, for
// start-up tests, and the steps every such test takes.
//
//   kxb_test::StartupHome home;                 // <root>/home/etc exists
//   home.write("home/etc/app.cfg", "a=1\n");
//   KXB_IN_FRESH_PROCESS([&] {
//     ASSERT_TRUE(home.initialise());           // environment + kxbInitialize
//     const char* error = nullptr;
//     ASSERT_EQ(0, kxbStartup(&error, 0)) << error;
//     EXPECT_EQ("1", kxb_test::effectiveOption("a"));
//   });
//
// The home holds a message catalogue (home/share/msg/en/fragments.msg with
// fragment 444) so that start-up finds one. Paths given to write, mkdir and
// path are relative to the root, which also holds "user" (made on request).
#ifndef KXB_TESTS_SUPPORT_STARTUP_HOME_H_
#define KXB_TESTS_SUPPORT_STARTUP_HOME_H_

#include <string>

#include "support/temp_dir.h"

namespace kxb_test {

class StartupHome {
 public:
  StartupHome();

  std::string root() const { return dir_.path(); }
  std::string home() const { return dir_.path("home"); }
  std::string etc() const { return dir_.path("home/etc"); }
  std::string user() const { return dir_.path("user"); }
  std::string path(const std::string& relative) const {
    return dir_.path(relative);
  }
  // Writes the file, making its directories.
  void write(const std::string& relative, const std::string& text) const;
  void mkdir(const std::string& relative) const;
  void remove(const std::string& relative) const;

  // Sets KXEXEC_HOME to the home, clears the variables start-up reads
  // (KAXEL_ERROR_LOCATION, KAXEL_ERROR_LOCALE, KAXEL_ERROR_LEVEL, TEMP) and
  // initialises the library from the companion directory. For a child
  // process only. False (with a test failure) when initialisation fails.
  bool initialise() const;

 private:
  TempDir dir_;
};

// A catalogue directory with fragment 444 in its "en" locale.
void writeCatalogue(const std::string& directory);

// The option of the effective set: its value (expanded when asked),
// "<absent>" when the set has no such key, "<null>" for a null value.
std::string effectiveOption(const char* key, bool expand = false);
// The environment variable, or "<unset>".
std::string environmentVariable(const char* name);
// The origin of an option of the effective set in words, or "<none>".
std::string originOf(const char* key);
// True when another thread can take the global mutex (by queueing an
// option): a failed start-up must not keep it.
bool globalMutexIsFree();

}  // namespace kxb_test

#endif  // KXB_TESTS_SUPPORT_STARTUP_HOME_H_
