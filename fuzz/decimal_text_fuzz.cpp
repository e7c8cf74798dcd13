// Text into the 192-bit decimal format and back out.
//
// The format's conversions: any text decSextFromString accepts gives a
// canonical value whose scientific string reads back to the identical 24
// bytes without rounding (its engineering string to the same number); text
// it rejects gives the quiet NaN. KxbReal: assign(text) then asString never crashes; a non-null string
// reads back to the value it was written from, less the fraction digits that
// had no room (asString drops those without rounding, so the value read back
// is the original truncated toward zero at the last written place).
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "decimal/decContext.h"
#include "decimal/decSext.h"
#include "kxbmempool.h"
#include "kxbreal.h"
#include "kxbstring.h"

namespace {

const bool g_pool = KxbMemPool::initialize();

decContext defaultContext() {
  decContext set;
  decContextDefault(&set, DEC_INIT_DECIMAL192);
  return set;
}

// The text must read back without rounding (a subnormal raises Subnormal
// on the way in; nothing else may be raised) as exactly `value`, or with
// `same_exponent` false as the same number (the engineering form pads
// zeros, 4E+5 becomes 400E+3, so only the value and sign survive).
void checkReadsBack(const decSext& value, const char* text,
                    bool same_exponent) {
  decContext set = defaultContext();
  decSext again;
  decSextFromString(&again, text, &set);
  if ((decContextGetStatus(&set) & ~DEC_Subnormal) != 0) __builtin_trap();
  if (same_exponent || decSextIsNaN(&value)) {
    if (std::memcmp(again.bytes, value.bytes, DECSEXT_Bytes) != 0) {
      __builtin_trap();
    }
    return;
  }
  decSext outcome;
  decSextCompare(&outcome, &again, &value, &set);
  if (!decSextIsZero(&outcome) ||
      decSextIsSigned(&again) != decSextIsSigned(&value)) {
    __builtin_trap();
  }
}

void checkFormatText(const std::string& text) {
  decContext set = defaultContext();
  decSext value;
  decSextFromString(&value, text.c_str(), &set);
  if (!decSextIsCanonical(&value)) __builtin_trap();
  if (decContextTestStatus(&set, DEC_Conversion_syntax)) {
    decSext nan;
    decSextNaN(&nan);
    if (std::memcmp(value.bytes, nan.bytes, DECSEXT_Bytes) != 0) {
      __builtin_trap();
    }
    return;
  }
  char out[DECSEXT_String];
  decSextToString(&value, out);
  if (std::strlen(out) >= DECSEXT_String) __builtin_trap();
  checkReadsBack(value, out, true);
  decSextToEngString(&value, out);
  if (std::strlen(out) >= DECSEXT_String) __builtin_trap();
  checkReadsBack(value, out, false);
}

// The raw value of a KxbReal (asFD normalises a copy; the value is kept).
decSext rawOf(const KxbReal& real) {
  KxbReal copy(real);
  uint64_t words[3];
  copy.asFD(words);
  decSext out;
  std::memcpy(out.bytes, words, DECSEXT_Bytes);
  return out;
}

bool sameValue(const decSext& a, const decSext& b) {
  decContext set = defaultContext();
  decSext outcome;
  decSextCompare(&outcome, &a, &b, &set);
  return decSextIsZero(&outcome) != 0;
}

void checkRealText(const KxbReal& real, int max_length) {
  KxbString text = real.asString(max_length);
  if (text.isNull()) return;
  const char* s = text.asCstr();
  const int limit = max_length > 61 ? 61 : max_length;
  const int bytes = static_cast<int>(std::strlen(s));
  if (bytes == 0 || bytes > limit) __builtin_trap();
  KxbReal back;
  back.assign(s);
  if (back.isNull()) __builtin_trap();
  decSext expected = rawOf(real);
  const char* point = std::strchr(s, '.');
  if (std::strchr(s, 'E') == nullptr && decSextIsFinite(&expected)) {
    // Plain notation: the fraction had room for limit - (characters before
    // the point) - 1 digits; anything beyond was cut off.
    const int before = point != nullptr ? static_cast<int>(point - s) : bytes;
    const int room = limit - before - 1;
    if (room >= 0 && decSextGetExponent(&expected) < -room) {
      decContext set = defaultContext();
      decContextSetRounding(&set, DEC_ROUND_DOWN);
      decSext quantum;
      decSextFromString(&quantum, ("1E-" + std::to_string(room)).c_str(),
                        &set);
      decSextQuantize(&expected, &expected, &quantum, &set);
    } else if (room < 0 && decSextGetExponent(&expected) < 0) {
      // No room for a fraction: the integer part alone.
      decContext set = defaultContext();
      decSextToIntegralValue(&expected, &expected, &set, DEC_ROUND_DOWN);
    }
  }
  if (!sameValue(rawOf(back), expected)) __builtin_trap();
}

void checkReal(const std::string& text, int max_length) {
  KxbReal real;
  real.assign(text.c_str());
  if (!real.isNull() && real.compare(real) != 0) __builtin_trap();
  checkRealText(real, 61);
  checkRealText(real, max_length);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1 || size > 512) return 0;
  // First byte: the length limit of the second asString; the rest is text.
  const int max_length = static_cast<int>(data[0] % 64) - 1;
  std::string text(reinterpret_cast<const char*>(data + 1), size - 1);
  text = text.c_str();  // up to the first NUL, as a C caller passes it
  checkFormatText(text);
  checkReal(text, max_length);
  return 0;
}
