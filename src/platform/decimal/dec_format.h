// The IEEE 754 decimal interchange formats (32, 64, 128 and 192 bits) in
// their densely packed decimal (DPD) encoding.
//
// A format of k bits has a sign bit, a 5-bit combination field (two
// exponent bits and the most significant digit, or the special patterns
// 11110 infinity and 11111 NaN), a w-bit exponent continuation and
// (k - w - 6) / 10 declets of three digits each. Values are stored least
// significant byte first, as integers of the host are on little-endian
// machines.
//
// Internal to the decimal library (decSext.h is the public 192-bit face);
// the test-case runner and the unit tests use the other widths to check the
// codec against published encodings. Thread-safe: no state.
#ifndef KXB_PLATFORM_DECIMAL_DEC_FORMAT_H_
#define KXB_PLATFORM_DECIMAL_DEC_FORMAT_H_

#include <stdint.h>

#include "decimal/decContext.h"
#include "decimal/decNumber.h"

namespace kxdec {

struct FormatInfo {
  int bits;     // 32, 64, 128 or 192
  int bytes;    // bits / 8
  int digits;   // precision p = 9k/32 - 2
  int emax;     // 3 * 2^(k/16 + 3)
  int bias;     // emax + p - 2
  int ecbits;   // exponent continuation bits w = k/16 + 4
  int declets;  // (p - 1) / 3
};

// The format of `bits` bits, or null.
const FormatInfo* formatInfo(int bits);

// The context of the format: its precision and limits, clamping on, the
// given rounding, clear status.
void formatContext(const FormatInfo& f, enum rounding mode, decContext* set);

// Decodes bytes into a number. Every bit pattern decodes: non-canonical
// declets by the DPD rules, coefficients of specials are ignored for
// infinities and taken as the payload (declets only) for NaNs.
void formatDecode(const FormatInfo& f, const uint8_t* bytes, decNumber* out);

// Encodes a number, canonically. A number that does not fit the format is
// first rounded into it with set->round (conditions raised into set); a
// NaN payload too long for the format keeps its low digits.
void formatEncode(const FormatInfo& f, const decNumber* in, uint8_t* bytes,
                  decContext* set);

// True when bytes are the canonical encoding of the value they decode to.
bool formatIsCanonical(const FormatInfo& f, const uint8_t* bytes);

// DPD declet of a three-digit value 0..999, and the value of a declet
// (any of the 1024 patterns).
uint16_t dpdEncodeDeclet(unsigned value);
unsigned dpdDecodeDeclet(uint16_t declet);

}  // namespace kxdec

#endif  // KXB_PLATFORM_DECIMAL_DEC_FORMAT_H_
