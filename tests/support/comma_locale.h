// CommaLocale sets LC_NUMERIC to a locale with "," as its decimal point for
// its lifetime: an installed one if there is one, else one compiled from the
// system's locale sources (localedef) into a temporary directory named by
// LOCPATH. IsComma() tells whether that worked; tests skip otherwise.
#ifndef KXB_TESTS_SUPPORT_COMMA_LOCALE_H_
#define KXB_TESTS_SUPPORT_COMMA_LOCALE_H_

#include <filesystem>

namespace kxb_test {

class CommaLocale {
 public:
  CommaLocale();
  ~CommaLocale();
  CommaLocale(const CommaLocale&) = delete;
  CommaLocale& operator=(const CommaLocale&) = delete;

  static bool IsComma();

 private:
  std::filesystem::path dir_;
};

}  // namespace kxb_test

#endif  // KXB_TESTS_SUPPORT_COMMA_LOCALE_H_
