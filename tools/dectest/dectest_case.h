// Running one decTest case against the decimal library.
//
// A case is `id operation operand... -> result condition...`. Operands are
// held exactly (they may have more digits than the precision); "#" alone is
// a signalling NaN standing for an operand not given; "#" and 8, 16, 32 or
// 48 hex digits is an encoding in the 32-, 64-, 128- or 192-bit format,
// most significant byte first. A result written as an encoding is compared
// with the result encoded in that format; any other result with the result's
// scientific (or, for toEng, engineering) string. The conditions must equal
// the status the operation raised.
//
// Every computed result that fits the 192-bit format is also encoded into
// it and decoded again; a difference fails the case.
#ifndef KXB_TOOLS_DECTEST_DECTEST_CASE_H_
#define KXB_TOOLS_DECTEST_DECTEST_CASE_H_

#include <string>
#include <vector>

#include "dectest_lexer.h"

namespace dectest {

// Context settings from the directives of a file.
struct Settings {
  long long precision = 9;
  std::string rounding = "half_up";
  long long max_exponent = 999;
  long long min_exponent = -999;
  int clamp = 0;
  int extended = 1;
};

enum class Verdict { kPass, kFail, kSkip };

struct Outcome {
  Verdict verdict = Verdict::kSkip;
  // For kSkip: the reason (grouped in reports, so general: "operation
  // power not implemented"). For kFail: what was expected and what came.
  std::string message;
};

// Runs the case whose tokens (id first) are given.
Outcome runCase(const Settings& settings, const std::vector<Token>& tokens);

}  // namespace dectest

#endif  // KXB_TOOLS_DECTEST_DECTEST_CASE_H_
