#include "support/source_tree.h"

#include <cstdlib>

#include "kxmsg.h"
#include "np_env.h"

namespace kxb_test {

std::string sourceDirectory() {
  const char* dir = std::getenv("KXB_SOURCE_DIR");
  return dir != nullptr && *dir != '\0' ? dir : KXB_TEST_SOURCE_DIR;
}

void useSourceCatalogue() {
  np_env_set("KAXEL_ERROR_LOCATION", (sourceDirectory() + "/share/msg").c_str());
  np_env_set("KAXEL_ERROR_LOCALE", nullptr);
  kxmsg112_terminate();
}

}  // namespace kxb_test
