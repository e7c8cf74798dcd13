// Conversion between a file's encoding and the UTF-8 that text files hand
// out and take in. Input may arrive in pieces of any size: a character cut
// between two pieces is carried over.
#ifndef KXB_COMPANIONS_TEXTIO_TEXTIO_CODEC_H_
#define KXB_COMPANIONS_TEXTIO_TEXTIO_CODEC_H_

#include <cstddef>
#include <string>

namespace kxb_textio {

// The encoding named by a byte-order mark at the start of `data` (KXB_TXT_*
// of kxbtxtfile.h; UTF-8 when there is none) and the mark's length in
// *markBytes (0 when none).
int detectEncoding(const char* data, size_t bytes, size_t* markBytes);

// The byte-order mark of `encoding`.
const char* byteOrderMark(int encoding, size_t* bytes);

class Decoder {
 public:
  // `validate`: replace ill-formed UTF-8 by U+FFFD (UTF-16 input is always
  // decoded that way), and NUL characters too: a line handed out is then
  // always one C string, so a reader that writes it back loses nothing.
  Decoder(int encoding, bool validate)
      : encoding_(encoding), validate_(validate) {}
  // Appends the UTF-8 text of `data` to `out`; may throw std::bad_alloc.
  void decode(const char* data, size_t bytes, std::string* out);
  // At the end of the input: what is carried becomes U+FFFD (or, for
  // unvalidated UTF-8, is appended as it is).
  void finish(std::string* out);

 private:
  void decodeUtf8(const unsigned char* p, size_t bytes, std::string* out);
  void decodeUtf16(const unsigned char* p, size_t bytes, std::string* out);

  int encoding_;
  bool validate_;
  std::string carry_;        // bytes of a cut character
  unsigned highSurrogate_ = 0;  // UTF-16: a high surrogate awaiting its pair
};

class Encoder {
 public:
  explicit Encoder(int encoding) : encoding_(encoding) {}
  // Appends `bytes` of UTF-8 text to `out` in the file's encoding; may throw
  // std::bad_alloc.
  void encode(const char* data, size_t bytes, std::string* out);
  // At the end of the output: a cut character becomes U+FFFD.
  void finish(std::string* out);

 private:
  void put(unsigned codePoint, std::string* out);

  int encoding_;
  std::string carry_;
};

}  // namespace kxb_textio

#endif  // KXB_COMPANIONS_TEXTIO_TEXTIO_CODEC_H_
