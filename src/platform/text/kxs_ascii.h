// ASCII case folding for keywords, scheme and key names and other protocol
// words: only 'A'..'Z' change, every other byte (UTF-8 included) stays as it
// is, whatever the process's locale. Text of users goes through np_uchar.
#ifndef KXB_PLATFORM_KXS_ASCII_H_
#define KXB_PLATFORM_KXS_ASCII_H_

#include <string>
#include <string_view>

namespace kxs_ascii {

constexpr char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// `text` with its ASCII capitals made small.
inline std::string lowered(std::string_view text) {
  std::string out(text);
  for (char& c : out) c = lower(c);
  return out;
}

// Whether `a` and `b` are equal ignoring ASCII case.
constexpr bool equalNoCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (lower(a[i]) != lower(b[i])) return false;
  }
  return true;
}

}  // namespace kxs_ascii

#endif  // KXB_PLATFORM_KXS_ASCII_H_
