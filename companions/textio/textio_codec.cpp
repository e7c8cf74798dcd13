#include "textio_codec.h"

#include <cstdint>

#include "kxbtxtfile.h"
#include "np_utf8.h"

namespace kxb_textio {
namespace {

constexpr int32_t kReplacement = 0xFFFD;

void appendCodePoint(int32_t cp, std::string* out) {
  unsigned char bytes[4];
  int n = kxb_utf8::Encode(cp, bytes);
  out->append(reinterpret_cast<const char*>(bytes), static_cast<size_t>(n));
}

// Bytes a UTF-8 sequence with this lead byte needs (1 for a byte that
// cannot start one).
size_t sequenceLength(unsigned char lead) {
  if (lead >= 0xC2 && lead <= 0xDF) return 2;
  if (lead >= 0xE0 && lead <= 0xEF) return 3;
  if (lead >= 0xF0 && lead <= 0xF4) return 4;
  return 1;
}

// True when the `bytes` at `p` (fewer than a whole sequence) may still grow
// into a well-formed sequence.
bool isCutSequence(const unsigned char* p, size_t bytes) {
  if (bytes == 0 || bytes >= sequenceLength(p[0])) return false;
  int32_t cp;
  // Decode reports the maximal valid prefix: all `bytes` valid so far means
  // the sequence was only cut.
  int n = kxb_utf8::Decode(p, bytes, &cp);
  return n < 0 && static_cast<size_t>(-n) == bytes;
}

}  // namespace

int detectEncoding(const char* data, size_t bytes, size_t* markBytes) {
  const unsigned char* p = reinterpret_cast<const unsigned char*>(data);
  *markBytes = 0;
  if (bytes >= 3 && p[0] == 0xEF && p[1] == 0xBB && p[2] == 0xBF) {
    *markBytes = 3;
    return KXB_TXT_UTF8;
  }
  if (bytes >= 2 && p[0] == 0xFF && p[1] == 0xFE) {
    *markBytes = 2;
    return KXB_TXT_UTF16LE;
  }
  if (bytes >= 2 && p[0] == 0xFE && p[1] == 0xFF) {
    *markBytes = 2;
    return KXB_TXT_UTF16BE;
  }
  return KXB_TXT_UTF8;
}

const char* byteOrderMark(int encoding, size_t* bytes) {
  switch (encoding) {
    case KXB_TXT_UTF16LE: *bytes = 2; return "\xFF\xFE";
    case KXB_TXT_UTF16BE: *bytes = 2; return "\xFE\xFF";
    default: *bytes = 3; return "\xEF\xBB\xBF";
  }
}

void Decoder::decode(const char* data, size_t bytes, std::string* out) {
  const unsigned char* p = reinterpret_cast<const unsigned char*>(data);
  if (encoding_ != KXB_TXT_UTF8) {
    decodeUtf16(p, bytes, out);
  } else if (!validate_) {
    out->append(data, bytes);
  } else {
    decodeUtf8(p, bytes, out);
  }
}

void Decoder::decodeUtf8(const unsigned char* p, size_t bytes,
                         std::string* out) {
  // Complete a character cut at the end of the previous piece.
  while (!carry_.empty() && bytes > 0) {
    carry_.push_back(static_cast<char>(*p++));
    --bytes;
    const unsigned char* c = reinterpret_cast<const unsigned char*>(carry_.data());
    if (isCutSequence(c, carry_.size())) continue;
    std::string pending;
    pending.swap(carry_);
    decodeUtf8(reinterpret_cast<const unsigned char*>(pending.data()),
               pending.size(), out);
  }
  size_t i = 0;
  size_t runStart = 0;  // start of well-formed bytes not yet appended
  while (i < bytes) {
    if (p[i] < 0x80 && p[i] != 0) {
      ++i;
      continue;
    }
    int32_t cp;
    int n = p[i] == 0 ? -1 : kxb_utf8::Decode(p + i, bytes - i, &cp);
    if (n > 0) {
      i += static_cast<size_t>(n);
      continue;
    }
    out->append(reinterpret_cast<const char*>(p + runStart), i - runStart);
    if (isCutSequence(p + i, bytes - i)) {
      carry_.assign(reinterpret_cast<const char*>(p + i), bytes - i);
      return;
    }
    appendCodePoint(kReplacement, out);
    i += static_cast<size_t>(-n);
    runStart = i;
  }
  out->append(reinterpret_cast<const char*>(p + runStart), bytes - runStart);
}

void Decoder::decodeUtf16(const unsigned char* p, size_t bytes,
                          std::string* out) {
  size_t i = 0;
  const bool little = encoding_ == KXB_TXT_UTF16LE;
  while (i < bytes) {
    unsigned char pair[2];
    if (!carry_.empty()) {
      pair[0] = static_cast<unsigned char>(carry_[0]);
      pair[1] = p[i++];
      carry_.clear();
    } else if (bytes - i >= 2) {
      pair[0] = p[i];
      pair[1] = p[i + 1];
      i += 2;
    } else {
      carry_.assign(1, static_cast<char>(p[i]));
      return;
    }
    unsigned unit = little ? (pair[0] | (pair[1] << 8)) : ((pair[0] << 8) | pair[1]);
    if (highSurrogate_ != 0) {
      unsigned high = highSurrogate_;
      highSurrogate_ = 0;
      if (unit >= 0xDC00 && unit <= 0xDFFF) {
        appendCodePoint(static_cast<int32_t>(0x10000 + ((high - 0xD800) << 10) +
                                             (unit - 0xDC00)),
                        out);
        continue;
      }
      appendCodePoint(kReplacement, out);
    }
    if (unit >= 0xD800 && unit <= 0xDBFF) {
      highSurrogate_ = unit;
    } else if (unit >= 0xDC00 && unit <= 0xDFFF) {
      appendCodePoint(kReplacement, out);
    } else {
      appendCodePoint(unit == 0 && validate_ ? kReplacement
                                             : static_cast<int32_t>(unit),
                      out);
    }
  }
}

void Decoder::finish(std::string* out) {
  if (encoding_ == KXB_TXT_UTF8) {
    if (!carry_.empty()) {
      // Validated input only carries cut sequences: one U+FFFD each.
      appendCodePoint(kReplacement, out);
      carry_.clear();
    }
    return;
  }
  if (highSurrogate_ != 0 || !carry_.empty()) appendCodePoint(kReplacement, out);
  highSurrogate_ = 0;
  carry_.clear();
}

void Encoder::put(unsigned cp, std::string* out) {
  auto unit = [&](unsigned u) {
    char bytes[2];
    if (encoding_ == KXB_TXT_UTF16LE) {
      bytes[0] = static_cast<char>(u & 0xFF);
      bytes[1] = static_cast<char>(u >> 8);
    } else {
      bytes[0] = static_cast<char>(u >> 8);
      bytes[1] = static_cast<char>(u & 0xFF);
    }
    out->append(bytes, 2);
  };
  if (cp >= 0x10000) {
    cp -= 0x10000;
    unit(0xD800 + (cp >> 10));
    unit(0xDC00 + (cp & 0x3FF));
  } else {
    unit(cp);
  }
}

void Encoder::encode(const char* data, size_t bytes, std::string* out) {
  if (encoding_ == KXB_TXT_UTF8) {
    out->append(data, bytes);
    return;
  }
  std::string joined;
  if (!carry_.empty()) {
    joined = carry_;
    joined.append(data, bytes);
    carry_.clear();
    data = joined.data();
    bytes = joined.size();
  }
  const unsigned char* p = reinterpret_cast<const unsigned char*>(data);
  size_t i = 0;
  while (i < bytes) {
    int32_t cp;
    int n = kxb_utf8::Decode(p + i, bytes - i, &cp);
    if (n > 0) {
      put(static_cast<unsigned>(cp), out);
      i += static_cast<size_t>(n);
    } else if (isCutSequence(p + i, bytes - i)) {
      carry_.assign(reinterpret_cast<const char*>(p + i), bytes - i);
      return;
    } else {
      put(kReplacement, out);
      i += static_cast<size_t>(-n);
    }
  }
}

void Encoder::finish(std::string* out) {
  if (!carry_.empty()) put(kReplacement, out);
  carry_.clear();
}

}  // namespace kxb_textio
