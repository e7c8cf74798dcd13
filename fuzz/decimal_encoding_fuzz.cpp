// Arbitrary 24-byte patterns as 192-bit decimals.
//
// Every pattern decodes (decimal192ToNumber) to a well-formed number;
// decSextCanonical rewrites it to the canonical encoding of that number,
// is idempotent, and the canonical encoding decodes to the same number.
// Every operation gives the same canonical result for a pattern as for its
// canonical form (arithmetic sees only the decoded number); addition,
// subtraction and multiplication agree with the general number type they
// take short cuts around; and none of them
// crashes on any pattern or context rounding; KxbReal's operations on raw
// words never crash either.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "decimal/decContext.h"
#include "decimal/decNumber.h"
#include "decimal/decSext.h"
#include "kxbmempool.h"
#include "kxbreal.h"
#include "kxbstring.h"

namespace {

const bool g_pool = KxbMemPool::initialize();

bool sameBytes(const decSext& a, const decSext& b) {
  return std::memcmp(a.bytes, b.bytes, DECSEXT_Bytes) == 0;
}

bool sameNumber(const decNumber& a, const decNumber& b) {
  if (a.bits != b.bits || a.digits != b.digits || a.exponent != b.exponent) {
    return false;
  }
  const int limbs = (a.digits + 17) / 18;
  return std::memcmp(a.lsu, b.lsu, sizeof(uint64_t) * limbs) == 0;
}

// Checks the decoded number's shape: digit count, limbs below 10^18 and no
// digits beyond the count, exponent inside the format for finite values.
void checkWellFormed(const decNumber& n) {
  if (n.digits < 1 || n.digits > DECSEXT_Pmax) __builtin_trap();
  const int limbs = (n.digits + 17) / 18;
  for (int i = 0; i < limbs; ++i) {
    if (n.lsu[i] >= 1000000000000000000ull) __builtin_trap();
  }
  uint64_t top = n.lsu[limbs - 1];
  int top_digits = 1;
  while (top >= 10) {
    top /= 10;
    ++top_digits;
  }
  if ((limbs - 1) * 18 + top_digits != n.digits) {
    // Only a zero coefficient may have a leading zero limb count mismatch.
    if (!(n.digits == 1 && n.lsu[0] == 0)) __builtin_trap();
  }
  const bool special = (n.bits & DECSPECIAL) != 0;
  if (!special && (n.exponent < -DECSEXT_Bias ||
                   n.exponent > DECSEXT_Emax - DECSEXT_Pmax + 1)) {
    __builtin_trap();
  }
  if ((n.bits & DECSPECIAL) != 0 && (n.bits & DECSPECIAL) != DECINF &&
      (n.bits & DECSPECIAL) != DECNAN && (n.bits & DECSPECIAL) != DECSNAN) {
    __builtin_trap();
  }
}

using Binary = decSext* (*)(decSext*, const decSext*, const decSext*,
                            decContext*);
using Unary = decSext* (*)(decSext*, const decSext*, decContext*);

// Runs op on (a, b) and on (canonical a, canonical b): identical canonical
// results and status.
void sameBinary(Binary op, const decSext& a, const decSext& b,
                const decSext& ca, const decSext& cb, enum rounding mode) {
  decContext s1, s2;
  decContextDefault(&s1, DEC_INIT_DECIMAL192);
  decContextSetRounding(&s1, mode);
  s2 = s1;
  decSext r1, r2;
  op(&r1, &a, &b, &s1);
  op(&r2, &ca, &cb, &s2);
  if (!decSextIsCanonical(&r1)) __builtin_trap();
  if (!sameBytes(r1, r2) || s1.status != s2.status) __builtin_trap();
}

void sameUnary(Unary op, const decSext& a, const decSext& ca,
               enum rounding mode) {
  decContext s1, s2;
  decContextDefault(&s1, DEC_INIT_DECIMAL192);
  decContextSetRounding(&s1, mode);
  s2 = s1;
  decSext r1, r2;
  op(&r1, &a, &s1);
  op(&r2, &ca, &s2);
  if (!decSextIsCanonical(&r1)) __builtin_trap();
  if (!sameBytes(r1, r2) || s1.status != s2.status) __builtin_trap();
}

// Addition, subtraction and multiplication, which take short cuts for
// finite operands, give the bytes and status of the general number type.
void sameAsGeneral(const decSext& a, const decSext& b, enum rounding mode) {
  using General = decNumber* (*)(decNumber*, const decNumber*,
                                 const decNumber*, decContext*);
  const Binary ops[] = {decSextAdd, decSextSubtract, decSextMultiply};
  const General generals[] = {decNumberAdd, decNumberSubtract,
                              decNumberMultiply};
  for (int i = 0; i < 3; ++i) {
    decContext s1, s2;
    decContextDefault(&s1, DEC_INIT_DECIMAL192);
    decContextSetRounding(&s1, mode);
    s2 = s1;
    decSext r1, r2;
    ops[i](&r1, &a, &b, &s1);
    decNumber x, y, z;
    decimal192ToNumber(&a, &x);
    decimal192ToNumber(&b, &y);
    generals[i](&z, &x, &y, &s2);
    decimal192FromNumber(&r2, &z, &s2);
    if (!sameBytes(r1, r2) || s1.status != s2.status) __builtin_trap();
  }
}

void exerciseReal(const decSext& a, const decSext& b, uint8_t knob) {
  uint64_t wa[3], wb[3];
  std::memcpy(wa, a.bytes, DECSEXT_Bytes);
  std::memcpy(wb, b.bytes, DECSEXT_Bytes);
  KxbReal x, y;
  x.assign(wa, (knob & 1) != 0);
  y.assign(wb, false);
  bool error = false, failed = false;
  KxbReal results[] = {x.add(y, &error),      x.subtract(y, &error),
                       x.multiply(y, &error), x.divide(y, &error),
                       x.modulo(y),           x.round((knob % 41) - 20),
                       x.floor(),             x.ceiling(),
                       x.absolute(),          x.negative(),
                       x.sqrt(&error)};
  for (const KxbReal& r : results) {
    KxbString text = r.asString();
    if (!text.isNull() && text.cStrSize() - 1 > 61) __builtin_trap();
    (void)r.asDouble(&failed);
    (void)r.asInt64(&failed);
    (void)r.asSize(&failed);
    (void)r.compare(x);
  }
  KX_SQL_NUMERIC_STRUCT numeric;
  x.asSQLNumeric(&numeric, &failed, knob % 40, (knob % 11) - 3);
  uint64_t out[3];
  x.asFD(out);
  KxbReal again;
  again.assign(out, false);
  if (!x.isNull() && again.compare(x) != 0) __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < DECSEXT_Bytes) return 0;
  decSext a, b, c;
  std::memcpy(a.bytes, data, DECSEXT_Bytes);
  // Further operands from the following bytes, else from a itself.
  if (size >= 2 * DECSEXT_Bytes) {
    std::memcpy(b.bytes, data + DECSEXT_Bytes, DECSEXT_Bytes);
  } else {
    decSextByteSwap(&b, &a);
  }
  if (size >= 3 * DECSEXT_Bytes) {
    std::memcpy(c.bytes, data + 2 * DECSEXT_Bytes, DECSEXT_Bytes);
  } else {
    decSextCopyNegate(&c, &b);
  }
  const uint8_t knob = size > 3 * DECSEXT_Bytes ? data[3 * DECSEXT_Bytes] : 0;
  const enum rounding mode = static_cast<enum rounding>(knob % DEC_ROUND_MAX);

  // Decoding and the canonical form.
  decNumber n, m;
  decimal192ToNumber(&a, &n);
  checkWellFormed(n);
  decSext ca, cca;
  decSextCanonical(&ca, &a);
  decSextCanonical(&cca, &ca);
  if (!sameBytes(ca, cca)) __builtin_trap();
  if (!decSextIsCanonical(&ca)) __builtin_trap();
  if ((decSextIsCanonical(&a) != 0) != sameBytes(a, ca)) __builtin_trap();
  decimal192ToNumber(&ca, &m);
  if (!sameNumber(n, m)) __builtin_trap();
  // The predicates agree with the decoded number.
  if ((decSextIsNaN(&a) != 0) != ((n.bits & (DECNAN | DECSNAN)) != 0) ||
      (decSextIsSNaN(&a) != 0) != ((n.bits & DECSNAN) != 0) ||
      (decSextIsInfinite(&a) != 0) != ((n.bits & DECINF) != 0) ||
      (decSextIsSigned(&a) != 0) != ((n.bits & DECNEG) != 0) ||
      (decSextIsZero(&a) != 0) != (decNumberIsZero(&n) != 0) ||
      decSextDigits(&a) != static_cast<uint32_t>(n.digits)) {
    __builtin_trap();
  }
  // Encoding from the number through a context gives the canonical form.
  decContext set;
  decContextDefault(&set, DEC_INIT_DECIMAL192);
  decSext from_number;
  decimal192FromNumber(&from_number, &n, &set);
  if (!sameBytes(from_number, ca) || set.status != 0) __builtin_trap();

  decSext cb, cc;
  decSextCanonical(&cb, &b);
  decSextCanonical(&cc, &c);
  const Binary binaries[] = {decSextAdd,          decSextSubtract,
                             decSextMultiply,     decSextDivide,
                             decSextDivideInteger, decSextRemainder,
                             decSextRemainderNear, decSextQuantize,
                             decSextCompare};
  for (Binary op : binaries) sameBinary(op, a, b, ca, cb, mode);
  // b's low digits under a's sign, exponent and leading digits: operands
  // of one exponent, as most sums of money are.
  decSext aligned = b;
  std::memcpy(aligned.bytes + 16, a.bytes + 16, 8);
  sameAsGeneral(a, b, mode);
  sameAsGeneral(a, aligned, mode);
  const Unary unaries[] = {decSextAbs,    decSextMinus,      decSextPlus,
                           decSextReduce, decSextSquareRoot,
                           decSextToIntegralExact};
  for (Unary op : unaries) sameUnary(op, a, ca, mode);
  {
    decContext s1, s2;
    decContextDefault(&s1, DEC_INIT_DECIMAL192);
    s2 = s1;
    decSext r1, r2;
    decSextFMA(&r1, &a, &b, &c, &s1);
    decSextFMA(&r2, &ca, &cb, &cc, &s2);
    if (!decSextIsCanonical(&r1)) __builtin_trap();
    if (!sameBytes(r1, r2) || s1.status != s2.status) __builtin_trap();
    decSextToIntegralValue(&r1, &a, &s1, mode);
    decSextToIntegralValue(&r2, &ca, &s2, mode);
    if (!sameBytes(r1, r2) || s1.status != s2.status) __builtin_trap();
    decSextCompareTotal(&r1, &a, &b);
    decSextCompareTotal(&r2, &ca, &cb);
    if (!sameBytes(r1, r2)) __builtin_trap();
  }
  // Conversions out.
  {
    decContext s;
    decContextDefault(&s, DEC_INIT_DECIMAL192);
    char text[DECSEXT_String];
    decSextToString(&a, text);
    if (std::strlen(text) >= DECSEXT_String) __builtin_trap();
    decSextToEngString(&a, text);
    if (std::strlen(text) >= DECSEXT_String) __builtin_trap();
    (void)decSextToInt32(&a, &s, mode);
    (void)decSextToInt64(&a, &s, mode);
    (void)decSextToUInt32(&a, &s, mode);
    (void)decSextToUInt64(&a, &s, mode);
    (void)decSextToDouble(&a);
    int32_t exponent;
    uint8_t bcd[DECSEXT_Pmax];
    decSextToBCD(&a, &exponent, bcd);
    for (uint8_t digit : bcd) {
      if (digit > 9) __builtin_trap();
    }
    (void)decSextGetExponent(&a);
    decSext shifted = a;
    int32_t target;
    std::memcpy(&target, b.bytes, sizeof target);
    decSextSetExponent(&shifted, &s, target);
    if (!decSextIsCanonical(&shifted)) __builtin_trap();
  }
  exerciseReal(a, b, knob);
  return 0;
}
