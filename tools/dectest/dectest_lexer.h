// Splitting lines of decimal test-case files (the "decTest" format) into
// tokens.
//
// Tokens are separated by blanks. A token may be quoted with ' or "; inside
// quotes the other quote is plain and the quote itself is written twice
// ('1E''1' is the text 1E'1). "--" outside quotes starts a comment that
// runs to the end of the line. Carriage returns are ignored.
#ifndef KXB_TOOLS_DECTEST_DECTEST_LEXER_H_
#define KXB_TOOLS_DECTEST_DECTEST_LEXER_H_

#include <string>
#include <vector>

namespace dectest {

struct Token {
  std::string text;
  bool quoted = false;
};

// Splits `line` into tokens. Returns false (tokens unspecified) and sets
// *error for an unterminated quote.
bool tokenizeLine(const std::string& line, std::vector<Token>* tokens,
                  std::string* error);

}  // namespace dectest

#endif  // KXB_TOOLS_DECTEST_DECTEST_LEXER_H_
