#include "support/textio_env.h"

#include <cstdlib>
#include <filesystem>

#include <gtest/gtest.h>

#include "np_env.h"
#include "services/kxbtextio_loader.h"
#include "support/source_tree.h"

namespace kxb_test {
namespace {

class TextIOEnvironment : public ::testing::Environment {
 public:
  void SetUp() override {
    // Catalogue messages of the library's errors come from the source tree
    // unless the caller chose a catalogue.
    char location[1024];
    if (np_env_get("KAXEL_ERROR_LOCATION", location, sizeof location) !=
            NP_ENV_FOUND ||
        location[0] == '\0') {
      const std::string catalogue = sourceDirectory() + "/share/msg";
      np_env_set("KAXEL_ERROR_LOCATION", catalogue.c_str());
    }
    char error[512] = "";
    std::string directory = companionDirectory();
    ASSERT_TRUE(kxbLoadTextIO(directory.c_str(), error, sizeof error))
        << "cannot load the text IO library from " << directory << ": "
        << error;
  }
  void TearDown() override { kxbUnloadTextIO(); }
};

}  // namespace

std::string companionDirectory() {
  const char* bin = std::getenv("KXB_BIN_DIR");
  if (bin != nullptr && bin[0] != '\0') return bin;
  std::error_code error;
  auto self = std::filesystem::read_symlink("/proc/self/exe", error);
  return error ? std::string(".") : self.parent_path().string();
}

bool useTextIO() {
  static const bool registered = [] {
    ::testing::AddGlobalTestEnvironment(new TextIOEnvironment);
    return true;
  }();
  return registered;
}

}  // namespace kxb_test
