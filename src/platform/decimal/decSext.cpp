// The 192-bit decimal format: conversions and arithmetic by way of the
// general number type.
#include "decimal/decSext.h"

#include <string.h>

#include <charconv>
#include <cmath>
#include <limits>

#include "decimal/dec_dpd.h"
#include "decimal/dec_format.h"
#include "decimal/dec_internal.h"
#include "decimal/dec_sext_fast.h"

using namespace kxdec;

namespace {

const FormatInfo& sext() {
  static const FormatInfo& f = *formatInfo(192);
  return f;
}

// Byte 23 holds the sign (bit 7), the combination field (bits 6..2) and
// the first exponent-continuation bit (bit 1, the signalling flag of NaNs).
inline unsigned combination(const decSext* a) {
  return (a->bytes[23] >> 2) & 0x1f;
}
inline bool sextIsNaN(const decSext* a) { return combination(a) == 0x1f; }
inline bool sextIsInf(const decSext* a) { return combination(a) == 0x1e; }

// Finite values that fit go straight between the bytes and the limbs;
// the general codec does the rest.
inline void decode(const decSext* a, decNumber* n) {
  if (!sextDecodeFinite(a, n)) formatDecode(sext(), a->bytes, n);
}

inline decSext* encode(decSext* r, const decNumber* n, decContext* set) {
  if (!sextEncodeFitting(n, r)) formatEncode(sext(), n, r->bytes, set);
  return r;
}

using Unary = decNumber* (*)(decNumber*, const decNumber*, decContext*);
using Binary = decNumber* (*)(decNumber*, const decNumber*, const decNumber*,
                              decContext*);

decSext* unary(decSext* r, const decSext* a, decContext* set, Unary op) {
  decNumber x, z;
  decode(a, &x);
  op(&z, &x, set);
  return encode(r, &z, set);
}

decSext* binary(decSext* r, const decSext* a, const decSext* b, decContext* set,
                Binary op) {
  decNumber x, y, z;
  decode(a, &x);
  decode(b, &y);
  op(&z, &x, &y, set);
  return encode(r, &z, set);
}

decSext* fromNumberExact(decSext* r, const decNumber* n) {
  decContext set;
  formatContext(sext(), DEC_ROUND_HALF_EVEN, &set);
  return encode(r, n, &set);
}

}  // namespace

extern "C" {

decSext* decSextFromString(decSext* r, const char* text, decContext* set) {
  decNumber n;
  decNumberFromString(&n, text, set);
  return encode(r, &n, set);
}

char* decSextToString(const decSext* a, char* text) {
  decNumber n;
  decode(a, &n);
  return decNumberToString(&n, text);
}

char* decSextToEngString(const decSext* a, char* text) {
  decNumber n;
  decode(a, &n);
  return decNumberToEngString(&n, text);
}

decSext* decSextFromInt32(decSext* r, int32_t v) {
  decNumber n;
  return fromNumberExact(r, decNumberFromInt32(&n, v));
}

decSext* decSextFromUInt32(decSext* r, uint32_t v) {
  decNumber n;
  return fromNumberExact(r, decNumberFromUInt32(&n, v));
}

decSext* decSextFromInt64(decSext* r, int64_t v) {
  decNumber n;
  return fromNumberExact(r, decNumberFromInt64(&n, v));
}

decSext* decSextFromUInt64(decSext* r, uint64_t v) {
  decNumber n;
  return fromNumberExact(r, decNumberFromUInt64(&n, v));
}

int32_t decSextToInt32(const decSext* a, decContext* set, enum rounding mode) {
  decNumber n;
  decode(a, &n);
  return decNumberToInt32(&n, set, mode);
}

int64_t decSextToInt64(const decSext* a, decContext* set, enum rounding mode) {
  decNumber n;
  decode(a, &n);
  return decNumberToInt64(&n, set, mode);
}

uint32_t decSextToUInt32(const decSext* a, decContext* set,
                         enum rounding mode) {
  decNumber n;
  decode(a, &n);
  return decNumberToUInt32(&n, set, mode);
}

uint64_t decSextToUInt64(const decSext* a, decContext* set,
                         enum rounding mode) {
  decNumber n;
  decode(a, &n);
  return decNumberToUInt64(&n, set, mode);
}

decSext* decSextFromDouble(decSext* r, double v) {
  if (std::isnan(v)) return decSextNaN(r);
  decNumber n;
  if (std::isinf(v)) {
    storeInfinity(&n, std::signbit(v));
    return fromNumberExact(r, &n);
  }
  // The fewest digits that read back as v (scientific form, so integers
  // such as 2^71 do not come out in all their binary-exact digits): at most
  // 17 digits and an exponent well inside the format, so this is exact.
  char text[40];
  std::to_chars_result res = std::to_chars(text, text + sizeof(text) - 1, v,
                                           std::chars_format::scientific);
  *res.ptr = '\0';
  decContext set;
  formatContext(sext(), DEC_ROUND_HALF_EVEN, &set);
  decNumberFromString(&n, text, &set);
  if (n.exponent > 0 && n.digits + n.exponent <= 17) {
    // Integers that plain notation writes as briefly keep exponent 0
    // (100.0 becomes 100, not 1E+2).
    decNumber unit;
    decNumberZero(&unit);
    decNumberQuantize(&n, &n, &unit, &set);
  }
  return encode(r, &n, &set);
}

double decSextToDouble(const decSext* a) {
  decNumber n;
  decode(a, &n);
  const bool neg = isNeg(&n);
  if (isNaNAny(&n)) {
    return std::copysign(std::numeric_limits<double>::quiet_NaN(),
                         neg ? -1.0 : 1.0);
  }
  if (isInf(&n)) {
    return neg ? -std::numeric_limits<double>::infinity()
               : std::numeric_limits<double>::infinity();
  }
  char text[DECSEXT_String];
  decNumberToString(&n, text);
  double d = 0;
  const char* end = text + strlen(text);
  std::from_chars_result res = std::from_chars(text, end, d);
  if (res.ec == std::errc::result_out_of_range) {
    // Beyond the double range: overflow to infinity, underflow to zero.
    d = adjusted(&n) > 0 ? std::numeric_limits<double>::infinity() : 0.0;
    if (neg) d = -d;
  }
  return d;
}

int32_t decSextToBCD(const decSext* a, int32_t* exponent, uint8_t* bcd) {
  decNumber n;
  decode(a, &n);
  Big c;
  coefOf(&n, c);
  for (int i = 0; i < DECSEXT_Pmax; ++i) {
    bcd[i] = static_cast<uint8_t>(bigDigitAt(c, DECSEXT_Pmax - 1 - i));
  }
  if (n.bits & DECSNAN) {
    *exponent = DECSEXT_EXPONENT_SNAN;
  } else if (n.bits & DECNAN) {
    *exponent = DECSEXT_EXPONENT_NAN;
  } else if (n.bits & DECINF) {
    *exponent = DECSEXT_EXPONENT_INF;
  } else {
    *exponent = n.exponent;
  }
  return isNeg(&n) ? 1 : 0;
}

decNumber* decimal192ToNumber(const decSext* a, decNumber* n) {
  decode(a, n);
  return n;
}

decSext* decimal192FromNumber(decSext* r, const decNumber* n, decContext* set) {
  return encode(r, n, set);
}

decSext* decSextAdd(decSext* r, const decSext* a, const decSext* b,
                    decContext* set) {
  if (sextFastAdd(r, a, b, false, set)) return r;
  return binary(r, a, b, set, decNumberAdd);
}

decSext* decSextSubtract(decSext* r, const decSext* a, const decSext* b,
                         decContext* set) {
  if (sextFastAdd(r, a, b, true, set)) return r;
  return binary(r, a, b, set, decNumberSubtract);
}

decSext* decSextMultiply(decSext* r, const decSext* a, const decSext* b,
                         decContext* set) {
  if (sextFastMultiply(r, a, b, set)) return r;
  return binary(r, a, b, set, decNumberMultiply);
}

decSext* decSextDivide(decSext* r, const decSext* a, const decSext* b,
                       decContext* set) {
  return binary(r, a, b, set, decNumberDivide);
}

decSext* decSextDivideInteger(decSext* r, const decSext* a, const decSext* b,
                              decContext* set) {
  return binary(r, a, b, set, decNumberDivideInteger);
}

decSext* decSextRemainder(decSext* r, const decSext* a, const decSext* b,
                          decContext* set) {
  return binary(r, a, b, set, decNumberRemainder);
}

decSext* decSextRemainderNear(decSext* r, const decSext* a, const decSext* b,
                              decContext* set) {
  return binary(r, a, b, set, decNumberRemainderNear);
}

decSext* decSextQuantize(decSext* r, const decSext* a, const decSext* b,
                         decContext* set) {
  return binary(r, a, b, set, decNumberQuantize);
}

decSext* decSextCompare(decSext* r, const decSext* a, const decSext* b,
                        decContext* set) {
  return binary(r, a, b, set, decNumberCompare);
}

decSext* decSextCompareTotal(decSext* r, const decSext* a, const decSext* b) {
  decNumber x, y, z;
  decode(a, &x);
  decode(b, &y);
  decNumberCompareTotal(&z, &x, &y);
  return fromNumberExact(r, &z);
}

decSext* decSextFMA(decSext* r, const decSext* a, const decSext* b,
                    const decSext* c, decContext* set) {
  decNumber x, y, w, z;
  decode(a, &x);
  decode(b, &y);
  decode(c, &w);
  decNumberFMA(&z, &x, &y, &w, set);
  return encode(r, &z, set);
}

decSext* decSextAbs(decSext* r, const decSext* a, decContext* set) {
  return unary(r, a, set, decNumberAbs);
}

decSext* decSextMinus(decSext* r, const decSext* a, decContext* set) {
  return unary(r, a, set, decNumberMinus);
}

decSext* decSextPlus(decSext* r, const decSext* a, decContext* set) {
  return unary(r, a, set, decNumberPlus);
}

decSext* decSextReduce(decSext* r, const decSext* a, decContext* set) {
  return unary(r, a, set, decNumberReduce);
}

decSext* decSextSquareRoot(decSext* r, const decSext* a, decContext* set) {
  return unary(r, a, set, decNumberSquareRoot);
}

decSext* decSextToIntegralValue(decSext* r, const decSext* a, decContext* set,
                                enum rounding mode) {
  decContext work = *set;
  work.round = mode;
  work.status = 0;
  unary(r, a, &work, decNumberToIntegralValue);
  set->status |= work.status;
  return r;
}

decSext* decSextToIntegralExact(decSext* r, const decSext* a, decContext* set) {
  return unary(r, a, set, decNumberToIntegralExact);
}

decSext* decSextCopy(decSext* r, const decSext* a) {
  if (r != a) memcpy(r->bytes, a->bytes, DECSEXT_Bytes);
  return r;
}

decSext* decSextCopyAbs(decSext* r, const decSext* a) {
  decSextCopy(r, a);
  r->bytes[23] &= 0x7f;
  return r;
}

decSext* decSextCopyNegate(decSext* r, const decSext* a) {
  decSextCopy(r, a);
  r->bytes[23] ^= 0x80;
  return r;
}

decSext* decSextCopySign(decSext* r, const decSext* a, const decSext* sign) {
  uint8_t s = sign->bytes[23] & 0x80;
  decSextCopy(r, a);
  r->bytes[23] = static_cast<uint8_t>((r->bytes[23] & 0x7f) | s);
  return r;
}

decSext* decSextZero(decSext* r) {
  decNumber n;
  return fromNumberExact(r, decNumberZero(&n));
}

decSext* decSextNaN(decSext* r) {
  decNumber n;
  decContext set;
  formatContext(sext(), DEC_ROUND_HALF_EVEN, &set);
  storeNaN(&n, 0, &set);
  return encode(r, &n, &set);
}

decSext* decSextByteSwap(decSext* r, const decSext* a) {
  uint8_t tmp[DECSEXT_Bytes];
  for (int i = 0; i < DECSEXT_Bytes; ++i)
    tmp[i] = a->bytes[DECSEXT_Bytes - 1 - i];
  memcpy(r->bytes, tmp, DECSEXT_Bytes);
  return r;
}

decSext* decSextCanonical(decSext* r, const decSext* a) {
  decNumber n;
  decode(a, &n);
  return fromNumberExact(r, &n);
}

uint32_t decSextDigits(const decSext* a) {
  decNumber n;
  decode(a, &n);
  return static_cast<uint32_t>(n.digits);
}

int32_t decSextGetExponent(const decSext* a) {
  if (sextIsNaN(a)) {
    return (a->bytes[23] & 0x02) ? DECSEXT_EXPONENT_SNAN : DECSEXT_EXPONENT_NAN;
  }
  if (sextIsInf(a)) return DECSEXT_EXPONENT_INF;
  decNumber n;
  decode(a, &n);
  return n.exponent;
}

decSext* decSextSetExponent(decSext* a, decContext* set, int32_t exponent) {
  decNumber n, z;
  decode(a, &n);
  if (!checkContext(&z, set)) return encode(a, &z, set);
  Big c;
  coefOf(&n, c);
  if (isInf(&n)) c.n = 0;
  finish(&z, isNeg(&n), c, exponent, false, set);
  return encode(a, &z, set);
}

uint32_t decSextIsCanonical(const decSext* a) {
  return formatIsCanonical(sext(), a->bytes) ? 1 : 0;
}

uint32_t decSextIsPlainReduced(const decSext* a) {
  // The last coefficient digit is the last of the lowest declet, bits 0-9.
  const unsigned declet = (a->bytes[0] | (a->bytes[1] & 0x03u) << 8);
  if (kxdec::kDpd.from_dpd[declet] % 10 == 0) return 0;  // also for a zero
  return decSextIsFinite(a) && decSextGetExponent(a) <= 0 &&
                 decSextIsCanonical(a)
             ? 1
             : 0;
}

uint32_t decSextIsFinite(const decSext* a) {
  return (combination(a) & 0x1e) != 0x1e ? 1 : 0;
}

uint32_t decSextIsInfinite(const decSext* a) { return sextIsInf(a) ? 1 : 0; }

uint32_t decSextIsNaN(const decSext* a) { return sextIsNaN(a) ? 1 : 0; }

uint32_t decSextIsSNaN(const decSext* a) {
  return sextIsNaN(a) && (a->bytes[23] & 0x02) ? 1 : 0;
}

uint32_t decSextIsSigned(const decSext* a) {
  return (a->bytes[23] & 0x80) ? 1 : 0;
}

uint32_t decSextIsNegative(const decSext* a) {
  return (a->bytes[23] & 0x80) && !sextIsNaN(a) ? 1 : 0;
}

uint32_t decSextIsZero(const decSext* a) {
  // Zero: a most significant digit of 0 in the combination field (the 8/9
  // forms never hold 0) and all 170 coefficient bits clear (only the
  // all-zero declet decodes to 000).
  unsigned comb = combination(a);
  if ((comb & 0x18) == 0x18 || (comb & 7) != 0) return 0;
  for (int i = 0; i < 21; ++i) {
    if (a->bytes[i] != 0) return 0;
  }
  return (a->bytes[21] & 0x03) == 0 ? 1 : 0;
}

}  // extern "C"
