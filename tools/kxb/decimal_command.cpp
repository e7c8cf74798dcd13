// kxb decimal: evaluates an expression over exact decimals.
//
//   expr   := term (("+" | "-") term)*
//   term   := factor (("*" | "/" | "%") factor)*      "%" is modulo
//   factor := ("+" | "-") factor | NUMBER | "(" expr ")"
//           | sqrt(expr) | floor(expr) | ceil(expr) | round(expr, INTEGER)
#include <cctype>
#include <cstdio>
#include <cstring>
#include <string>

#include "kxbreal.h"
#include "tools/kxb/commands.h"

namespace kxb_tool {
namespace {

class Evaluator {
 public:
  explicit Evaluator(const char* text) : p_(text) {}

  bool run(KxbReal* result) {
    *result = expr();
    skipBlanks();
    if (error_.empty() && *p_ != '\0') fail("unexpected text");
    return error_.empty();
  }
  const std::string& error() const { return error_; }
  bool truncated() const { return truncated_; }

 private:
  void skipBlanks() {
    while (std::isspace(static_cast<unsigned char>(*p_))) ++p_;
  }
  bool take(char c) {
    skipBlanks();
    if (*p_ != c) return false;
    ++p_;
    return true;
  }
  void fail(const char* what) {
    if (error_.empty()) error_ = std::string(what) + " at \"" + p_ + "\"";
  }
  void expect(char c) {
    if (!take(c)) fail((std::string("expected '") + c + "'").c_str());
  }
  // Runs a basic operation, noting a rounding (told on the left operand).
  KxbReal apply(KxbReal left, char op, const KxbReal& right) {
    bool error = false;
    KxbReal result;
    switch (op) {
      case '+': result = left.add(right, &error); break;
      case '-': result = left.subtract(right, &error); break;
      case '*': result = left.multiply(right, &error); break;
      case '/': result = left.divide(right, &error); break;
      default: result = left.modulo(right); break;
    }
    if (left.truncated()) truncated_ = true;
    if (error) fail("invalid operation (division by zero?)");
    return result;
  }

  KxbReal expr() {
    KxbReal value = term();
    for (;;) {
      if (take('+')) {
        value = apply(value, '+', term());
      } else if (take('-')) {
        value = apply(value, '-', term());
      } else {
        return value;
      }
    }
  }

  KxbReal term() {
    KxbReal value = factor();
    for (;;) {
      skipBlanks();
      char op = *p_;
      if (op != '*' && op != '/' && op != '%') return value;
      ++p_;
      value = apply(value, op, factor());
    }
  }

  KxbReal factor() {
    if (take('-')) return factor().negative();
    if (take('+')) return factor();
    if (take('(')) {
      KxbReal value = expr();
      expect(')');
      return value;
    }
    skipBlanks();
    const char* start = p_;
    while (std::isalpha(static_cast<unsigned char>(*p_))) ++p_;
    std::string name(start, p_);
    if (!name.empty() && name != "e" && name != "E") return function(name);
    p_ = start;
    return number();
  }

  KxbReal function(const std::string& name) {
    expect('(');
    KxbReal arg = expr();
    KxbReal result;
    if (name == "sqrt") {
      bool error = false;
      result = arg.sqrt(&error);
      if (error) fail("square root of a negative number");
      if (result.truncated()) truncated_ = true;
    } else if (name == "floor") {
      result = arg.floor();
    } else if (name == "ceil") {
      result = arg.ceiling();
    } else if (name == "round") {
      expect(',');
      skipBlanks();
      char* end = nullptr;
      long places = std::strtol(p_, &end, 10);
      if (end == p_) fail("expected the number of places");
      p_ = end;
      result = arg.round(static_cast<int>(places));
    } else {
      fail(("unknown function " + name).c_str());
    }
    expect(')');
    return result;
  }

  KxbReal number() {
    const char* start = p_;
    while (std::isdigit(static_cast<unsigned char>(*p_)) || *p_ == '.') ++p_;
    if ((*p_ == 'e' || *p_ == 'E') && p_ > start) {
      const char* mark = p_++;
      if (*p_ == '+' || *p_ == '-') ++p_;
      if (!std::isdigit(static_cast<unsigned char>(*p_))) {
        p_ = mark;
      } else {
        while (std::isdigit(static_cast<unsigned char>(*p_))) ++p_;
      }
    }
    KxbReal value;
    if (p_ == start) {
      fail("expected a number");
      return value;
    }
    value.assign(std::string(start, p_).c_str());
    if (value.isNull()) fail("not a number");
    if (value.truncated()) truncated_ = true;
    return value;
  }

  const char* p_;
  std::string error_;
  bool truncated_ = false;
};

}  // namespace

int runDecimal(int argc, char** argv) {
  if (argc != 1) return fail(2, "usage: kxb decimal EXPRESSION");
  Evaluator evaluator(argv[0]);
  KxbReal result;
  if (!evaluator.run(&result)) return fail(1, evaluator.error().c_str());
  KxbString text = result.asString();
  std::printf("%s%s\n", text.isNull() ? "(no text form within 61 characters)" : text.asCstr(),
              evaluator.truncated() ? "  (rounded)" : "");
  return 0;
}

}  // namespace kxb_tool
