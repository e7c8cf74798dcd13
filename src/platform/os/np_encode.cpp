// Locale character sets and their conversion to UTF-8.
#include "np_encode.h"

#include <stdint.h>
#include <string.h>

#include <initializer_list>

#include "kxs_ascii.h"
#include "np_env.h"
#include "np_utf8.h"

namespace {

// Windows-1252 code points for bytes 0x80..0x9F (0 where undefined, which
// becomes U+FFFD).
const uint16_t kCp1252High[32] = {
    0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0,      0x017D, 0,
    0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};

// ISO-8859-15 differs from ISO-8859-1 in eight places.
int32_t latin9(unsigned char byte) {
  switch (byte) {
    case 0xA4: return 0x20AC;
    case 0xA6: return 0x0160;
    case 0xA8: return 0x0161;
    case 0xB4: return 0x017D;
    case 0xB8: return 0x017E;
    case 0xBC: return 0x0152;
    case 0xBD: return 0x0153;
    case 0xBE: return 0x0178;
    default: return byte;
  }
}

int32_t codePoint(int encoding, unsigned char byte) {
  if (byte < 0x80) return byte;
  switch (encoding) {
    case NP_UCHAR_ENC_LATIN1: return byte;
    case NP_UCHAR_ENC_LATIN9: return latin9(byte);
    case NP_UCHAR_ENC_CP1252:
      if (byte >= 0xA0) return byte;
      return kCp1252High[byte - 0x80] != 0 ? kCp1252High[byte - 0x80] : 0xFFFD;
    default: return 0xFFFD;  // ASCII
  }
}

// "ISO_8859-1" -> "iso88591": lower case without "-", "_" and blanks.
void normalise(const char* name, char* out, size_t size) {
  size_t at = 0;
  for (; *name != '\0' && at + 1 < size; ++name) {
    unsigned char c = static_cast<unsigned char>(*name);
    if (c == '-' || c == '_' || c == ' ') continue;
    out[at++] = kxs_ascii::lower(static_cast<char>(c));
  }
  out[at] = '\0';
}

}  // namespace

extern "C" const char* np_lcinfo_charset(char* buffer, size_t size) {
  if (buffer == nullptr || size == 0) return buffer;
  char value[256];
  const char* locale = nullptr;
  for (const char* variable : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    if (np_env_get(variable, value, sizeof value) == NP_ENV_FOUND &&
        value[0] != '\0') {
      locale = value;
      break;
    }
  }
  const char* codeset = "UTF-8";
  size_t bytes = strlen(codeset);
  const char* dot = locale == nullptr ? nullptr : strchr(locale, '.');
  if (dot != nullptr && dot[1] != '\0' && dot[1] != '@') {
    codeset = dot + 1;
    const char* at = strchr(codeset, '@');
    bytes = at == nullptr ? strlen(codeset) : static_cast<size_t>(at - codeset);
  }
  if (bytes >= size) bytes = size - 1;
  memcpy(buffer, codeset, bytes);
  buffer[bytes] = '\0';
  return buffer;
}

extern "C" int np_uchar_getenc(const char* charset) {
  if (charset == nullptr) return NP_UCHAR_ENC_UNKNOWN;
  char name[32];
  normalise(charset, name, sizeof name);
  static const struct {
    const char* name;
    int encoding;
  } kNames[] = {
      {"utf8", NP_UCHAR_ENC_UTF8},          {"ascii", NP_UCHAR_ENC_ASCII},
      {"usascii", NP_UCHAR_ENC_ASCII},      {"ansix3.41968", NP_UCHAR_ENC_ASCII},
      {"iso646us", NP_UCHAR_ENC_ASCII},     {"iso88591", NP_UCHAR_ENC_LATIN1},
      {"latin1", NP_UCHAR_ENC_LATIN1},      {"l1", NP_UCHAR_ENC_LATIN1},
      {"iso885915", NP_UCHAR_ENC_LATIN9},   {"latin9", NP_UCHAR_ENC_LATIN9},
      {"cp1252", NP_UCHAR_ENC_CP1252},      {"windows1252", NP_UCHAR_ENC_CP1252},
  };
  for (const auto& entry : kNames) {
    if (strcmp(name, entry.name) == 0) return entry.encoding;
  }
  return NP_UCHAR_ENC_UNKNOWN;
}

extern "C" int np_uchar_defenc(void) { return NP_UCHAR_ENC_UTF8; }

extern "C" int np_uchar_encode(int encoding, const char* src, size_t srcBytes,
                               char* dst, size_t dstSize) {
  if (src == nullptr || encoding < NP_UCHAR_ENC_UTF8 ||
      encoding > NP_UCHAR_ENC_CP1252) {
    if (dst != nullptr && dstSize > 0) dst[0] = '\0';
    return -1;
  }
  const unsigned char* in = reinterpret_cast<const unsigned char*>(src);
  size_t room = dstSize > 0 ? dstSize - 1 : 0;
  size_t written = 0;  // bytes stored in dst
  size_t total = 0;    // bytes of the whole result
  bool full = false;   // a character did not fit: store nothing more
  size_t i = 0;
  while (i < srcBytes) {
    unsigned char piece[4];
    const unsigned char* bytes;
    size_t length;
    if (encoding == NP_UCHAR_ENC_UTF8) {
      int32_t cp;
      int n = kxb_utf8::Decode(in + i, srcBytes - i, &cp);
      length = static_cast<size_t>(n < 0 ? -n : n);
      bytes = in + i;
      i += length;
    } else {
      length = static_cast<size_t>(
          kxb_utf8::Encode(codePoint(encoding, in[i]), piece));
      bytes = piece;
      ++i;
    }
    if (!full && written + length <= room && dst != nullptr) {
      memcpy(dst + written, bytes, length);
      written += length;
    } else {
      full = true;
    }
    total += length;
  }
  if (dst != nullptr && dstSize > 0) dst[written] = '\0';
  return static_cast<int>(total);
}
