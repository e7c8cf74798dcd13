// Tokenizer for decTest lines.
#include "dectest_lexer.h"

namespace dectest {

bool tokenizeLine(const std::string& line, std::vector<Token>* tokens,
                  std::string* error) {
  tokens->clear();
  size_t i = 0;
  const size_t n = line.size();
  auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\r'; };
  while (i < n) {
    if (blank(line[i])) {
      ++i;
      continue;
    }
    if (line[i] == '-' && i + 1 < n && line[i + 1] == '-') break;  // comment
    Token token;
    if (line[i] == '\'' || line[i] == '"') {
      const char quote = line[i++];
      token.quoted = true;
      for (;;) {
        if (i >= n) {
          *error = "unterminated quote";
          return false;
        }
        if (line[i] == quote) {
          if (i + 1 < n && line[i + 1] == quote) {
            token.text += quote;
            i += 2;
            continue;
          }
          ++i;
          break;
        }
        token.text += line[i++];
      }
    } else {
      while (i < n && !blank(line[i])) token.text += line[i++];
    }
    tokens->push_back(std::move(token));
  }
  return true;
}

}  // namespace dectest
