// libFuzzer target for the UTF-8 character functions and the UTF-8/UTF-16
// converters: arbitrary bytes in, the invariants that tie the functions
// together checked, any violation aborts.
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include "np_uchar.h"
#include "fuzz_util.h"

namespace {


constexpr unsigned kUtf8 = NP_CP_UTF8;

int Sign(int v) { return (v > 0) - (v < 0); }

// Invalid characters of the NUL-terminated `t`.
size_t CountInvalid(const char* t) {
  size_t invalid = 0;
  int size = 0;
  for (const char* p = t; *p != 0; p += size) {
    if (np_uchar_toint(p, &size) == NP_UCHAR_INVALID) ++invalid;
  }
  return invalid;
}

// Whether `s` is well-formed UTF-8, NUL bytes included.
bool IsValid(const std::string& s) {
  for (size_t i = 0; i < s.size();) {
    if (s[i] == 0) {
      ++i;
      continue;
    }
    int size = 0;
    if (np_uchar_toint(s.c_str() + i, &size) == NP_UCHAR_INVALID) return false;
    i += static_cast<size_t>(size);
  }
  return true;
}

// Walking, counting, seeking and classifying the NUL-terminated `t`.
void CheckWalk(const char* t) {
  const size_t bytes = strlen(t);
  const int n = np_uchar_length(t);
  CHECK(n == np_uchar_nlength(t, bytes));
  CHECK(n >= 0 && static_cast<size_t>(n) <= bytes);

  // Step through with toint; seek and tell must agree at sampled steps
  // (every step would make the run quadratic).
  const int stride = n / 64 + 1;
  const char* p = t;
  int i = 0;
  size_t sum = 0;
  for (;;) {
    int size = -1;
    const int cp = np_uchar_toint(p, &size);
    if (size == 0) {
      CHECK(cp == 0 && *p == 0);
      break;
    }
    CHECK(size >= 1 && size <= 4);
    CHECK(cp == NP_UCHAR_INVALID ? size == 1 : (cp > 0 && cp <= 0x10FFFF));
    CHECK(!(cp >= 0xD800 && cp <= 0xDFFF));
    int other = -1;
    np_uchar_isspace(p, &other);
    CHECK(other == size);
    CHECK((np_uchar_isascii(p, &other) != 0) == (cp >= 0 && cp < 0x80));
    CHECK(other == size);
    if (i % stride == 0) {
      CHECK(np_uchar_seek(t, i) == p);
      CHECK(np_uchar_tell(t, p) == i);
    }
    sum += static_cast<size_t>(size);
    p += size;
    ++i;
  }
  CHECK(i == n);
  CHECK(sum == bytes);
  CHECK(np_uchar_seek(t, n) == t + bytes);
  CHECK(np_uchar_seek(t, n + 1) == nullptr);
  CHECK(np_uchar_tell(t, t + bytes) == n);
}

// Case mapping: the size query equals what is written, and a short buffer
// receives a prefix of the full result.
void CheckMapping(const char* t, int (*map)(const char*, char*, int), size_t cutAt) {
  const int n = map(t, nullptr, 0);
  CHECK(n >= 0);
  std::vector<char> full(static_cast<size_t>(n) + 1, '#');
  CHECK(map(t, full.data(), n + 1) == n);
  CHECK(strlen(full.data()) == static_cast<size_t>(n));
  CHECK(CountInvalid(full.data()) == CountInvalid(t));  // invalid bytes kept

  const int small = static_cast<int>(cutAt % (static_cast<size_t>(n) + 1)) + 1;
  std::vector<char> part(static_cast<size_t>(small) + 1, '#');
  CHECK(map(t, part.data(), small) == n);
  const size_t got = strlen(part.data());
  CHECK(got < static_cast<size_t>(small));
  CHECK(memcmp(part.data(), full.data(), got) == 0);
  CHECK(part[static_cast<size_t>(small)] == '#');
}

// UTF-8 to UTF-16 and back over the raw bytes (NULs included).
void CheckConverters(const uint8_t* data, size_t size, const std::string& text) {
  // `text` holds the same bytes as `data`.
  if (size == 0 || size > 1 << 20) return;
  const char* src = reinterpret_cast<const char*>(data);
  const int len = static_cast<int>(size);
  const int units = np_mb_to_wide(kUtf8, 0, src, len, nullptr, 0);
  CHECK(units >= 1 && units <= len);
  std::vector<unsigned short> wide(static_cast<size_t>(units));
  CHECK(np_mb_to_wide(kUtf8, 0, src, len, wide.data(), units) == units);
  if (units > 1) {
    std::vector<unsigned short> shortBuf(static_cast<size_t>(units) - 1);
    CHECK(np_mb_to_wide(kUtf8, 0, src, len, shortBuf.data(), units - 1) == 0);
  }

  // Valid UTF-8 round-trips exactly; anything else comes back valid.
  const int bytes = np_wide_to_mb(kUtf8, 0, wide.data(), units, nullptr, 0);
  std::string back(static_cast<size_t>(bytes), '\0');
  CHECK(np_wide_to_mb(kUtf8, 0, wide.data(), units, back.data(), bytes) == bytes);
  if (IsValid(text)) {
    CHECK(back == text);
  } else {
    CHECK(IsValid(back));
  }

  // The same bytes read as UTF-16 units: unpaired surrogates become U+FFFD,
  // everything else comes back unchanged.
  const size_t count = size / 2;
  if (count == 0) return;
  std::vector<unsigned short> in(count);
  memcpy(in.data(), data, count * 2);
  std::vector<unsigned short> want;
  for (size_t i = 0; i < count; ++i) {
    const unsigned u = in[i];
    if (u >= 0xD800 && u <= 0xDBFF && i + 1 < count && in[i + 1] >= 0xDC00 &&
        in[i + 1] <= 0xDFFF) {
      want.push_back(in[i]);
      want.push_back(in[i + 1]);
      ++i;
    } else if (u >= 0xD800 && u <= 0xDFFF) {
      want.push_back(0xFFFD);
    } else {
      want.push_back(in[i]);
    }
  }
  const int mb = np_wide_to_mb(kUtf8, 0, in.data(), static_cast<int>(count), nullptr, 0);
  std::string utf8(static_cast<size_t>(mb), '\0');
  CHECK(np_wide_to_mb(kUtf8, 0, in.data(), static_cast<int>(count), utf8.data(), mb) == mb);
  if (mb > 1) {
    CHECK(np_wide_to_mb(kUtf8, 0, in.data(), static_cast<int>(count), utf8.data(),
                        mb - 1) == 0);
  }
  const int again = np_mb_to_wide(kUtf8, 0, utf8.data(), mb, nullptr, 0);
  std::vector<unsigned short> round(static_cast<size_t>(again));
  CHECK(np_mb_to_wide(kUtf8, 0, utf8.data(), mb, round.data(), again) == again);
  CHECK(round == want);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // The NUL-terminated functions see the text up to the first NUL byte.
  const std::string text(reinterpret_cast<const char*>(data), size);
  const char* t = text.c_str();
  const size_t bytes = strlen(t);

  // The bounded count reads only the fuzzer's own buffer.
  const int bounded = np_uchar_nlength(reinterpret_cast<const char*>(data), size);
  CHECK(bounded >= 0 && static_cast<size_t>(bounded) <= size);

  CheckWalk(t);
  CheckMapping(t, np_uchar_lower, size);
  CheckMapping(t, np_uchar_upper, size * 7);

  // icomp: reflexive and antisymmetric, case-blind for ASCII letters.
  CHECK(np_uchar_icomp(t, t) == 0);
  const std::string a = text.substr(0, bytes / 2);
  const std::string b = text.substr(bytes / 2, bytes - bytes / 2);
  CHECK(Sign(np_uchar_icomp(a.c_str(), b.c_str())) ==
        -Sign(np_uchar_icomp(b.c_str(), a.c_str())));
  std::string flipped(t);
  for (char& c : flipped) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
    else if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
  }
  CHECK(np_uchar_icomp(t, flipped.c_str()) == 0);

  // bufncopy: whole characters, in place too.
  const int n = np_uchar_length(t);
  const int want = size > 0 ? static_cast<int>(data[0]) % (n + 2) : 0;
  std::vector<char> copy(bytes + 1, '#');
  const int dstSize = static_cast<int>(bytes % 97) + 1;
  const int copied = np_uchar_bufncopy(copy.data(), t, dstSize, want);
  CHECK(copied >= 0 && copied < dstSize);
  CHECK(memcmp(copy.data(), t, static_cast<size_t>(copied)) == 0 && copy[copied] == 0);
  CHECK(np_uchar_tell(t, t + copied) <= want);
  const char* end = np_uchar_seek(t, np_uchar_tell(t, t + copied));
  CHECK(end == t + copied);  // a character boundary
  std::string inPlace(t);
  const int cut = np_uchar_bufncopy(inPlace.data(), inPlace.data(),
                                    static_cast<int>(inPlace.size()) + 1, want);
  const size_t expect = want > n ? bytes : static_cast<size_t>(np_uchar_seek(t, want) - t);
  CHECK(cut == static_cast<int>(expect) && inPlace.c_str()[expect] == 0);

  CheckConverters(data, size, text);
  return 0;
}
