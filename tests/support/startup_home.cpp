#include "support/startup_home.h"

#include <filesystem>
#include <fstream>
#include <thread>

#include <gtest/gtest.h>

#include "kxbconfigoptions.h"
#include "kxbstartup.h"
#include "np_env.h"
#include "support/textio_env.h"

namespace kxb_test {

namespace fs = std::filesystem;

StartupHome::StartupHome() {
  mkdir("home/etc");
  writeCatalogue(dir_.path("home/share/msg"));
}

void StartupHome::write(const std::string& relative,
                        const std::string& text) const {
  fs::path file = dir_.path(relative);
  fs::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << text;
}

void StartupHome::mkdir(const std::string& relative) const {
  fs::create_directories(dir_.path(relative));
}

void StartupHome::remove(const std::string& relative) const {
  std::error_code code;
  fs::remove_all(dir_.path(relative), code);
}

bool StartupHome::initialise() const {
  for (const char* name : {"KAXEL_ERROR_LOCATION", "KAXEL_ERROR_LOCALE",
                           "KAXEL_ERROR_LEVEL", "TEMP"}) {
    np_env_set(name, nullptr);
  }
  np_env_set("KXEXEC_HOME", home().c_str());
  std::string host = companionDirectory() + "/kxb_startup_tests";
  const char* error = nullptr;
  int result = kxbInitialize(host.c_str(), &error);
  EXPECT_EQ(0, result) << error;
  return result == 0;
}

void writeCatalogue(const std::string& directory) {
  fs::create_directories(fs::path(directory) / "en");
  std::ofstream(fs::path(directory) / "en" / "fragments.msg")
      << "444 Base Services message catalogue\n";
}

std::string effectiveOption(const char* key, bool expand) {
  KxbConfigOptions* options = kxbGetConfigOptions(KxbString("", true));
  if (options == nullptr) return "<no set>";
  KxbString value;
  bool found = options->getOption(KxbString(key), &value, expand);
  if (!found && value.isNull()) return "<absent>";
  return value.isNull() ? "<null>" : value.asCstr();
}

std::string environmentVariable(const char* name) {
  char value[4096];
  return np_env_get(name, value, sizeof value) == NP_ENV_FOUND ? value
                                                               : "<unset>";
}

std::string originOf(const char* key) {
  KxbOptionOrigin origin;
  if (kxbStartupGetOptionOrigin(key, &origin) != 0) return "<none>";
  char text[4200];
  kxbStartupDescribeOptionOrigin(&origin, text, sizeof text);
  return text;
}

bool globalMutexIsFree() {
  int result = -1;
  std::thread other([&] {
    const char* error = nullptr;
    result = kxbStartupAddOption("probe", "1", &error);
  });
  other.join();
  return result == 0;
}

}  // namespace kxb_test
