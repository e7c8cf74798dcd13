#include "support/comma_locale.h"

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

#include "np_env.h"

namespace kxb_test {

CommaLocale::CommaLocale() {
  for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8",
                           "fr_FR.utf8", "de_DE", "fr_FR"}) {
    if (std::setlocale(LC_NUMERIC, name) != nullptr && IsComma()) return;
  }
  namespace fs = std::filesystem;
  std::error_code ec;
  dir_ = fs::temp_directory_path(ec) /
         ("kxb-locale-" + std::to_string(std::random_device{}()));
  if (ec || !fs::create_directories(dir_, ec)) {
    dir_.clear();
    return;
  }
  const std::string command = "localedef -i de_DE -f UTF-8 '" + dir_.string() +
                              "/de_DE.UTF-8' >/dev/null 2>&1";
  if (std::system(command.c_str()) == -1) return;
  np_env_set("LOCPATH", dir_.c_str());
  if (std::setlocale(LC_NUMERIC, "de_DE.UTF-8") == nullptr || !IsComma()) {
    std::setlocale(LC_NUMERIC, "C");
  }
}

CommaLocale::~CommaLocale() {
  std::setlocale(LC_NUMERIC, "C");
  if (!dir_.empty()) {
    np_env_set("LOCPATH", nullptr);
    std::error_code ec;
    std::filesystem::remove_all(dir_, ec);
  }
}

bool CommaLocale::IsComma() {
  return std::strcmp(std::localeconv()->decimal_point, ",") == 0;
}

}  // namespace kxb_test
