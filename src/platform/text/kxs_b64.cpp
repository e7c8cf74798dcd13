// kxs_b64: base64 encoding without line breaks.
#include "kxs_b64.h"

#include <climits>
#include <cstdint>

namespace {

constexpr char kAlphabet[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

}  // namespace

extern "C" int kxs_b64_encode(const void* data, size_t length, char* output,
                              size_t outputSize) {
  if (data == nullptr && length > 0) return -1;
  if (length > static_cast<size_t>(INT_MAX) / 4 * 3 - 3) return -1;
  size_t encoded = (length + 2) / 3 * 4;
  if (output == nullptr) return static_cast<int>(encoded);
  if (outputSize < encoded + 1) return -1;
  const uint8_t* in = static_cast<const uint8_t*>(data);
  char* out = output;
  size_t whole = length / 3 * 3;
  for (size_t i = 0; i < whole; i += 3) {
    uint32_t bits = (uint32_t{in[i]} << 16) | (uint32_t{in[i + 1]} << 8) |
                    in[i + 2];
    out[0] = kAlphabet[bits >> 18];
    out[1] = kAlphabet[(bits >> 12) & 63];
    out[2] = kAlphabet[(bits >> 6) & 63];
    out[3] = kAlphabet[bits & 63];
    out += 4;
  }
  size_t rest = length - whole;
  if (rest > 0) {
    uint32_t bits = uint32_t{in[whole]} << 16;
    if (rest == 2) bits |= uint32_t{in[whole + 1]} << 8;
    out[0] = kAlphabet[bits >> 18];
    out[1] = kAlphabet[(bits >> 12) & 63];
    out[2] = rest == 2 ? kAlphabet[(bits >> 6) & 63] : '=';
    out[3] = '=';
    out += 4;
  }
  *out = '\0';
  return static_cast<int>(encoded);
}
