// Executes decTest cases with the general number type and the format codec.
#include "dectest_case.h"

#include <string.h>

#include <string>

#include "decimal/decContext.h"
#include "decimal/decNumber.h"
#include "decimal/dec_format.h"
#include "kxs_ascii.h"

namespace dectest {
namespace {

struct Condition {
  const char* name;
  uint32_t bit;
};

// In the order the reports print them.
const Condition kConditions[] = {
    {"conversion_syntax", DEC_Conversion_syntax},
    {"division_by_zero", DEC_Division_by_zero},
    {"division_impossible", DEC_Division_impossible},
    {"division_undefined", DEC_Division_undefined},
    {"insufficient_storage", DEC_Insufficient_storage},
    {"invalid_context", DEC_Invalid_context},
    {"invalid_operation", DEC_Invalid_operation},
    {"overflow", DEC_Overflow},
    {"underflow", DEC_Underflow},
    {"subnormal", DEC_Subnormal},
    {"inexact", DEC_Inexact},
    {"rounded", DEC_Rounded},
    {"clamped", DEC_Clamped},
};

struct Operation {
  const char* name;
  int operands;
};

const Operation kOperations[] = {
    {"abs", 1},           {"add", 2},          {"apply", 1},
    {"compare", 2},       {"comparetotal", 2}, {"divide", 2},
    {"divideint", 2},     {"fma", 3},          {"minus", 1},
    {"multiply", 2},      {"normalize", 1},    {"plus", 1},
    {"quantize", 2},      {"reduce", 1},       {"remainder", 2},
    {"remaindernear", 2}, {"squareroot", 1},   {"subtract", 2},
    {"tointegral", 1},    {"tointegralx", 1},  {"tosci", 1},
    {"toeng", 1},
};

std::string lowerCase(const std::string& s) { return kxs_ascii::lowered(s); }

bool parseRounding(const std::string& name, enum rounding* mode) {
  static const struct {
    const char* name;
    enum rounding mode;
  } kModes[] = {
      {"ceiling", DEC_ROUND_CEILING},     {"up", DEC_ROUND_UP},
      {"half_up", DEC_ROUND_HALF_UP},     {"half_even", DEC_ROUND_HALF_EVEN},
      {"half_down", DEC_ROUND_HALF_DOWN}, {"down", DEC_ROUND_DOWN},
      {"floor", DEC_ROUND_FLOOR},         {"05up", DEC_ROUND_05UP},
  };
  std::string l = lowerCase(name);
  for (const auto& m : kModes) {
    if (l == m.name) {
      *mode = m.mode;
      return true;
    }
  }
  return false;
}

std::string conditionText(uint32_t bits) {
  std::string out;
  for (const Condition& c : kConditions) {
    if (bits & c.bit) {
      if (!out.empty()) out += ' ';
      out += c.name;
    }
  }
  return out.empty() ? "(none)" : out;
}

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  c = kxs_ascii::lower(c);
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

// "#" followed by the hex digits of a whole format, most significant first.
const kxdec::FormatInfo* hexFormat(const std::string& s) {
  if (s.size() < 2 || s[0] != '#') return nullptr;
  const kxdec::FormatInfo* f =
      kxdec::formatInfo(static_cast<int>(s.size() - 1) * 4);
  if (f == nullptr) return nullptr;
  for (size_t i = 1; i < s.size(); ++i) {
    if (hexValue(s[i]) < 0) return nullptr;
  }
  return f;
}

void hexToBytes(const std::string& s, const kxdec::FormatInfo& f,
                uint8_t* bytes) {
  for (int i = 0; i < f.bytes; ++i) {
    // Byte i (least significant first) is written last-but-i in the text.
    size_t pos = 1 + 2 * static_cast<size_t>(f.bytes - 1 - i);
    bytes[i] =
        static_cast<uint8_t>(hexValue(s[pos]) * 16 + hexValue(s[pos + 1]));
  }
}

std::string bytesToHex(const uint8_t* bytes, const kxdec::FormatInfo& f) {
  static const char kDigits[] = "0123456789ABCDEF";
  std::string out = "#";
  for (int i = f.bytes - 1; i >= 0; --i) {
    out += kDigits[bytes[i] >> 4];
    out += kDigits[bytes[i] & 15];
  }
  return out;
}

bool equalIgnoreCase(const std::string& a, const std::string& b) {
  return lowerCase(a) == lowerCase(b);
}

std::string toText(const decNumber& n, bool engineering) {
  std::string buffer(static_cast<size_t>(n.digits) + 16, '\0');
  if (engineering) {
    decNumberToEngString(&n, buffer.data());
  } else {
    decNumberToString(&n, buffer.data());
  }
  buffer.resize(strlen(buffer.c_str()));
  return buffer;
}

// Holds operands exactly: the widest precision and exponent range.
void wideContext(decContext* set) {
  decContextDefault(set, DEC_INIT_BASE);
  set->digits = DECNUMDIGITS;
  set->round = DEC_ROUND_HALF_EVEN;
}

enum class OperandStatus { kOk, kSkip, kBad };

OperandStatus readOperand(const Token& token, decNumber* out,
                          std::string* reason) {
  const std::string& s = token.text;
  decContext wide;
  wideContext(&wide);
  if (!token.quoted && s == "#") {
    decNumberFromString(out, "sNaN", &wide);
    return OperandStatus::kOk;
  }
  if (!token.quoted && !s.empty() && s[0] == '#') {
    const kxdec::FormatInfo* f = hexFormat(s);
    if (f == nullptr) {
      *reason = "malformed encoded operand " + s;
      return OperandStatus::kBad;
    }
    uint8_t bytes[24];
    hexToBytes(s, *f, bytes);
    kxdec::formatDecode(*f, bytes, out);
    return OperandStatus::kOk;
  }
  if (!token.quoted && s.find('#') != std::string::npos) {
    *reason = "format-prefixed operand (decFloat conversions)";
    return OperandStatus::kSkip;
  }
  decNumberFromString(out, s.c_str(), &wide);
  if (wide.status & DEC_Conversion_syntax) {
    *reason = "operand is not a number: " + s;
    return OperandStatus::kBad;
  }
  if (wide.status & DEC_Overflow) {
    *reason = "operand exponent above the largest an operand can hold";
    return OperandStatus::kSkip;
  }
  if (wide.status & DEC_Underflow) {
    *reason = "operand exponent below the smallest an operand can hold";
    return OperandStatus::kSkip;
  }
  if (wide.status & DEC_Inexact) {
    *reason = "operand with more digits than the engine holds";
    return OperandStatus::kSkip;
  }
  return OperandStatus::kOk;
}

// The value in the context as a number read from its exact text would be:
// rounded and fitted to the limits. Specials pass unchanged.
void applyContext(const decNumber& x, decNumber* r, decContext* set) {
  if (x.bits & DECSPECIAL) {
    decNumberCopy(r, &x);
    return;
  }
  std::string text = toText(x, false);
  decNumberFromString(r, text.c_str(), set);
}

// Encodes r into the 192-bit format and back when it fits the format
// exactly; returns an error text when the round trip changes it.
std::string checkRoundTrip(const decNumber& r) {
  const kxdec::FormatInfo& f = *kxdec::formatInfo(192);
  if (r.bits & (DECNAN | DECSNAN)) {
    if (r.digits > f.digits - 1) return "";
  } else if (!(r.bits & DECINF)) {
    if (r.digits > f.digits || r.exponent < -f.bias ||
        r.exponent > f.emax - f.digits + 1) {
      return "";
    }
  }
  decContext set;
  kxdec::formatContext(f, DEC_ROUND_HALF_EVEN, &set);
  uint8_t bytes[24];
  kxdec::formatEncode(f, &r, bytes, &set);
  decNumber back;
  kxdec::formatDecode(f, bytes, &back);
  if (set.status != 0 || back.bits != r.bits ||
      toText(back, false) != toText(r, false)) {
    return "192-bit round trip of " + toText(r, false) + " gave " +
           toText(back, false) + " " + bytesToHex(bytes, f);
  }
  return "";
}

}  // namespace

Outcome runCase(const Settings& settings, const std::vector<Token>& tokens) {
  Outcome out;
  if (tokens.size() < 4) {
    out.verdict = Verdict::kFail;
    out.message = "malformed case";
    return out;
  }
  const std::string op = lowerCase(tokens[1].text);
  const Operation* operation = nullptr;
  for (const Operation& o : kOperations) {
    if (op == o.name) operation = &o;
  }
  if (operation == nullptr) {
    out.message = "operation " + op + " not implemented";
    return out;
  }
  size_t arrow = 2;
  while (arrow < tokens.size() &&
         !(tokens[arrow].text == "->" && !tokens[arrow].quoted)) {
    ++arrow;
  }
  if (arrow != 2 + static_cast<size_t>(operation->operands) ||
      arrow + 1 >= tokens.size()) {
    out.verdict = Verdict::kFail;
    out.message = "malformed case (operands or result)";
    return out;
  }
  // Context.
  if (settings.extended != 1) {
    out.message = "subset arithmetic (extended: 0) not supported";
    return out;
  }
  if (settings.precision < 1 || settings.precision > DECNUMDIGITS) {
    out.message = "precision beyond the engine's " +
                  std::to_string(DECNUMDIGITS) + " digits";
    return out;
  }
  if (settings.max_exponent > DEC_MAX_EMAX ||
      settings.min_exponent < DEC_MIN_EMIN || settings.max_exponent < 0 ||
      settings.min_exponent > 0) {
    out.message = "exponent limits beyond the engine's";
    return out;
  }
  decContext set;
  decContextDefault(&set, DEC_INIT_BASE);
  set.digits = static_cast<int32_t>(settings.precision);
  set.emax = static_cast<int32_t>(settings.max_exponent);
  set.emin = static_cast<int32_t>(settings.min_exponent);
  set.clamp = static_cast<uint8_t>(settings.clamp);
  if (!parseRounding(settings.rounding, &set.round)) {
    out.message = "rounding " + settings.rounding + " unknown";
    return out;
  }
  // Expected result and conditions.
  const Token& expected = tokens[arrow + 1];
  uint32_t expected_status = 0;
  for (size_t i = arrow + 2; i < tokens.size(); ++i) {
    std::string name = lowerCase(tokens[i].text);
    bool known = false;
    for (const Condition& c : kConditions) {
      if (name == c.name) {
        expected_status |= c.bit;
        known = true;
      }
    }
    if (!known) {
      out.message = "condition " + name + " not supported";
      return out;
    }
  }
  const kxdec::FormatInfo* result_format = nullptr;
  if (!expected.quoted && !expected.text.empty() &&
      expected.text.find('#') != std::string::npos) {
    result_format = hexFormat(expected.text);
    if (result_format == nullptr) {
      out.message = "format-prefixed result (decFloat conversions)";
      return out;
    }
  }
  // Operands. The conversions take raw text through the context.
  const bool conversion = op == "tosci" || op == "toeng" || op == "apply";
  decNumber operands[3];
  bool raw_text = false;
  for (int i = 0; i < operation->operands; ++i) {
    const Token& t = tokens[2 + i];
    if (conversion && (t.quoted || t.text.empty() || t.text[0] != '#') &&
        t.text.find('#') == std::string::npos) {
      raw_text = true;
      continue;
    }
    std::string reason;
    OperandStatus st = readOperand(t, &operands[i], &reason);
    if (st != OperandStatus::kOk) {
      out.verdict =
          st == OperandStatus::kSkip ? Verdict::kSkip : Verdict::kFail;
      out.message = reason;
      return out;
    }
  }
  const decNumber& a = operands[0];
  const decNumber& b = operands[1];
  const decNumber& c = operands[2];
  decNumber r;
  if (conversion) {
    if (raw_text) {
      decNumberFromString(&r, tokens[2].text.c_str(), &set);
    } else {
      applyContext(a, &r, &set);
    }
  } else if (op == "abs") {
    decNumberAbs(&r, &a, &set);
  } else if (op == "add") {
    decNumberAdd(&r, &a, &b, &set);
  } else if (op == "compare") {
    decNumberCompare(&r, &a, &b, &set);
  } else if (op == "comparetotal") {
    decNumberCompareTotal(&r, &a, &b);
  } else if (op == "divide") {
    decNumberDivide(&r, &a, &b, &set);
  } else if (op == "divideint") {
    decNumberDivideInteger(&r, &a, &b, &set);
  } else if (op == "fma") {
    decNumberFMA(&r, &a, &b, &c, &set);
  } else if (op == "minus") {
    decNumberMinus(&r, &a, &set);
  } else if (op == "multiply") {
    decNumberMultiply(&r, &a, &b, &set);
  } else if (op == "plus") {
    decNumberPlus(&r, &a, &set);
  } else if (op == "quantize") {
    decNumberQuantize(&r, &a, &b, &set);
  } else if (op == "reduce" || op == "normalize") {
    decNumberReduce(&r, &a, &set);
  } else if (op == "remainder") {
    decNumberRemainder(&r, &a, &b, &set);
  } else if (op == "remaindernear") {
    decNumberRemainderNear(&r, &a, &b, &set);
  } else if (op == "squareroot") {
    decNumberSquareRoot(&r, &a, &set);
  } else if (op == "subtract") {
    decNumberSubtract(&r, &a, &b, &set);
  } else if (op == "tointegral") {
    decNumberToIntegralValue(&r, &a, &set);
  } else {  // tointegralx
    decNumberToIntegralExact(&r, &a, &set);
  }
  std::string got;
  bool same;
  if (result_format != nullptr) {
    uint8_t bytes[24];
    kxdec::formatEncode(*result_format, &r, bytes, &set);
    got = bytesToHex(bytes, *result_format);
    same = equalIgnoreCase(got, expected.text);
  } else {
    got = toText(r, op == "toeng");
    same = got == expected.text;
  }
  if (!same || set.status != expected_status) {
    out.verdict = Verdict::kFail;
    out.message = "expected " + expected.text + " " +
                  conditionText(expected_status) + "; got " + got + " " +
                  conditionText(set.status);
    return out;
  }
  std::string trip = checkRoundTrip(r);
  if (!trip.empty()) {
    out.verdict = Verdict::kFail;
    out.message = trip;
    return out;
  }
  out.verdict = Verdict::kPass;
  return out;
}

}  // namespace dectest
