// libFuzzer target for the shell command line KxbExecute builds: arbitrary
// texts (the command and the options) are joined, and the line must be the
// pieces one space apart, each quoted exactly when it holds a space and
// does not begin with a double quote. When no piece holds a double quote
// or is empty, a plain splitter that honours double quotes (as the shell
// does for such text, leaving "$" and the like aside) gives the pieces
// back. Any violation aborts.
//
// Input: the pieces separated by NUL bytes; the first is the command.
#include <stddef.h>
#include <stdint.h>

#include <string>
#include <vector>

#include "fuzz_util.h"
#include "kxbmempool.h"
#include "kxlog.h"
#include "services/kxbexecute_line.h"

namespace {

// Splits at spaces outside double quotes; the quotes themselves go.
std::vector<std::string> split(const std::string& line) {
  std::vector<std::string> words;
  std::string word;
  bool quoted = false, inWord = false;
  for (char c : line) {
    if (c == '"') {
      quoted = !quoted;
      inWord = true;
    } else if (c == ' ' && !quoted) {
      if (inWord) words.push_back(word);
      word.clear();
      inWord = false;
    } else {
      word += c;
      inWord = true;
    }
  }
  if (inWord) words.push_back(word);
  return words;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  if (kxlogInitialize() != 0 || !KxbMemPool::initialize()) abort();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::vector<std::string> pieces(1);
  for (size_t i = 0; i < size; ++i) {
    if (data[i] == 0) {
      if (pieces.size() == 16) break;
      pieces.emplace_back();
    } else {
      pieces.back() += static_cast<char>(data[i]);
    }
  }
  std::vector<KxbString> options;
  for (size_t i = 1; i < pieces.size(); ++i) options.emplace_back(pieces[i].c_str());
  const KxbString line = kxbExecuteShellLine(KxbString(pieces[0].c_str()), options);
  CHECK(!line.isNull());

  std::string expected;
  bool splittable = true;
  for (size_t i = 0; i < pieces.size(); ++i) {
    const std::string& p = pieces[i];
    if (i > 0) expected += ' ';
    const bool quote = (p.empty() || p[0] != '"') && p.find(' ') != std::string::npos;
    expected += quote ? "\"" + p + "\"" : p;
    splittable = splittable && !p.empty() && p.find('"') == std::string::npos;
  }
  CHECK(kxb_fuzz::bytesOf(line) == expected);
  if (splittable) CHECK(split(expected) == pieces);
  return 0;
}
