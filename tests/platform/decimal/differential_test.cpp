// The 192-bit arithmetic against an independent implementation of the same
// arithmetic: differential_vectors.txt holds results and conditions that
// Python's decimal module computed in the format's context (see
// gen_vectors.py, which writes it), and every case is run here through the
// decSext operations and compared, text and status word alike.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "dec_test_util.h"
#include "decimal/decContext.h"
#include "decimal/decSext.h"
#include "support/source_tree.h"

using dectestutil::defaultContext;
using dectestutil::str;

namespace {

struct Vector {
  int line = 0;
  std::string op;
  std::string mode_name;
  enum rounding mode = DEC_ROUND_HALF_EVEN;
  std::vector<std::string> operands;
  std::string result;
  uint32_t status = 0;
};

const std::map<std::string, enum rounding>& modeNames() {
  static const std::map<std::string, enum rounding> names = {
      {"ceiling", DEC_ROUND_CEILING},     {"up", DEC_ROUND_UP},
      {"half_up", DEC_ROUND_HALF_UP},     {"half_even", DEC_ROUND_HALF_EVEN},
      {"half_down", DEC_ROUND_HALF_DOWN}, {"down", DEC_ROUND_DOWN},
      {"floor", DEC_ROUND_FLOOR},         {"05up", DEC_ROUND_05UP},
  };
  return names;
}

// Operand counts of the operations the vectors use.
const std::map<std::string, size_t>& operationArity() {
  static const std::map<std::string, size_t> arity = {
      {"add", 2},       {"subtract", 2},      {"multiply", 2},
      {"divide", 2},    {"divideint", 2},     {"remainder", 2},
      {"remaindernear", 2}, {"fma", 3},       {"quantize", 2},
      {"reduce", 1},    {"squareroot", 1},    {"compare", 2},
      {"tointegral", 1},
  };
  return arity;
}

std::string vectorPath() {
  return kxb_test::sourceDirectory() + "/tests/platform/decimal/differential_vectors.txt";
}

// Reads the vector file; a malformed line is a test failure, not a skip.
std::vector<Vector> loadVectors() {
  std::vector<Vector> out;
  std::ifstream in(vectorPath());
  if (!in) {
    ADD_FAILURE() << "cannot read " << vectorPath();
    return out;
  }
  std::string text;
  int line = 0;
  while (std::getline(in, text)) {
    ++line;
    if (text.empty() || text[0] == '#') continue;
    std::istringstream fields(text);
    Vector v;
    v.line = line;
    std::string word;
    fields >> v.op >> v.mode_name;
    while (fields >> word && word != "->") v.operands.push_back(word);
    std::string status_hex;
    fields >> v.result >> status_hex;
    auto mode = modeNames().find(v.mode_name);
    auto arity = operationArity().find(v.op);
    if (word != "->" || v.result.empty() || status_hex.empty() ||
        mode == modeNames().end() || arity == operationArity().end() ||
        arity->second != v.operands.size()) {
      ADD_FAILURE() << "malformed vector at line " << line << ": " << text;
      continue;
    }
    v.mode = mode->second;
    v.status = static_cast<uint32_t>(std::stoul(status_hex, nullptr, 16));
    out.push_back(std::move(v));
  }
  return out;
}

const std::vector<Vector>& vectors() {
  static const std::vector<Vector> all = loadVectors();
  return all;
}

struct Outcome {
  std::string result;
  uint32_t status = 0;
  std::string problem;  // set when an operand did not convert exactly
};

Outcome run(const Vector& v) {
  Outcome out;
  decSext x[3];
  for (size_t i = 0; i < v.operands.size(); ++i) {
    decContext conv = defaultContext();
    decSextFromString(&x[i], v.operands[i].c_str(), &conv);
    // Operands are chosen to fit the format exactly and must read back as
    // written (both sides write the scientific form). A subnormal operand
    // raises Subnormal on the way in, and nothing else.
    if ((decContextGetStatus(&conv) & ~DEC_Subnormal) != 0 ||
        str(x[i]) != v.operands[i]) {
      out.problem = "operand " + v.operands[i] + " read as " + str(x[i]) +
                    " with status " + std::to_string(decContextGetStatus(&conv));
      return out;
    }
  }
  decContext set = defaultContext();
  decContextSetRounding(&set, v.mode);
  decSext r;
  const std::string& op = v.op;
  if (op == "add") {
    decSextAdd(&r, &x[0], &x[1], &set);
  } else if (op == "subtract") {
    decSextSubtract(&r, &x[0], &x[1], &set);
  } else if (op == "multiply") {
    decSextMultiply(&r, &x[0], &x[1], &set);
  } else if (op == "divide") {
    decSextDivide(&r, &x[0], &x[1], &set);
  } else if (op == "divideint") {
    decSextDivideInteger(&r, &x[0], &x[1], &set);
  } else if (op == "remainder") {
    decSextRemainder(&r, &x[0], &x[1], &set);
  } else if (op == "remaindernear") {
    decSextRemainderNear(&r, &x[0], &x[1], &set);
  } else if (op == "fma") {
    decSextFMA(&r, &x[0], &x[1], &x[2], &set);
  } else if (op == "quantize") {
    decSextQuantize(&r, &x[0], &x[1], &set);
  } else if (op == "reduce") {
    decSextReduce(&r, &x[0], &set);
  } else if (op == "squareroot") {
    decSextSquareRoot(&r, &x[0], &set);
  } else if (op == "compare") {
    decSextCompare(&r, &x[0], &x[1], &set);
  } else if (op == "tointegral") {
    decSextToIntegralValue(&r, &x[0], &set, v.mode);
  } else {
    out.problem = "unknown operation " + op;
    return out;
  }
  out.result = str(r);
  out.status = decContextGetStatus(&set);
  return out;
}

std::string describe(const Vector& v) {
  std::string s = "line " + std::to_string(v.line) + ": " + v.op + " " +
                  v.mode_name;
  for (const std::string& operand : v.operands) s += " " + operand;
  return s;
}

// Runs every vector of the named operations; returns how many ran.
size_t checkOperations(const std::set<std::string>& ops) {
  size_t ran = 0;
  for (const Vector& v : vectors()) {
    if (ops.count(v.op) == 0) continue;
    ++ran;
    Outcome got = run(v);
    if (!got.problem.empty()) {
      ADD_FAILURE() << describe(v) << ": " << got.problem;
      continue;
    }
    EXPECT_EQ(got.result, v.result) << describe(v);
    EXPECT_EQ(got.status, v.status)
        << describe(v) << ": status 0x" << std::hex << got.status
        << ", expected 0x" << v.status;
  }
  return ran;
}

TEST(DecSextDifferential, VectorsCoverEveryOperationInEveryRoundingMode) {
  std::map<std::string, std::set<std::string>> modes_seen;
  for (const Vector& v : vectors()) modes_seen[v.op].insert(v.mode_name);
  for (const auto& [op, arity] : operationArity()) {
    EXPECT_EQ(modes_seen[op].size(), modeNames().size()) << op;
  }
  EXPECT_GE(vectors().size(), 2000u);
}

TEST(DecSextDifferential, AdditionAndSubtractionMatch) {
  EXPECT_GT(checkOperations({"add", "subtract"}), 0u);
}

TEST(DecSextDifferential, MultiplicationAndFusedMultiplyAddMatch) {
  EXPECT_GT(checkOperations({"multiply", "fma"}), 0u);
}

TEST(DecSextDifferential, DivisionAndRemaindersMatch) {
  EXPECT_GT(
      checkOperations({"divide", "divideint", "remainder", "remaindernear"}),
      0u);
}

TEST(DecSextDifferential, QuantizeReduceAndIntegralValuesMatch) {
  EXPECT_GT(checkOperations({"quantize", "reduce", "tointegral"}), 0u);
}

TEST(DecSextDifferential, SquareRootAndComparisonMatch) {
  EXPECT_GT(checkOperations({"squareroot", "compare"}), 0u);
}

}  // namespace
