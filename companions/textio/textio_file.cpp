// Reading and writing lines of a text file.
#include "np_mem.h"
#include "textio_file.h"

#include <cstring>
#include <new>

#include "core/kxbstring_internal.h"
#include "np_uchar.h"
#include "np_utf8.h"
#include "textio_text.h"

namespace kxb_textio {
namespace {

// Output is handed to the channel in pieces of about this size.
constexpr size_t kWriteBytes = 64 * 1024;
// Text already handed out is dropped once this much has gathered.
constexpr size_t kCompactBytes = 64 * 1024;

// The byte offset after `maxChars` characters of [p, p + limit), or `limit`
// when there are no more than that many. Invalid bytes count one each, as
// in KxbString.
size_t afterChars(const char* p, size_t limit, int maxChars) {
  const unsigned char* u = reinterpret_cast<const unsigned char*>(p);
  size_t at = 0;
  for (int n = 0; n < maxChars; ++n) {
    if (at >= limit) return limit;
    if (u[at] < 0x80) {
      ++at;
      continue;
    }
    int32_t cp;
    int length = kxb_utf8::Decode(u + at, limit - at, &cp);
    at += length > 0 ? static_cast<size_t>(length) : 1;
  }
  return at < limit ? at : limit;
}

}  // namespace

TextFile::TextFile(Channel* channel, const KxbString& name,
                   KxbTxtFileOpenMode mode, int option1, int option2)
    : channel_(channel),
      name_(name),
      mode_(mode),
      maxLineBytes_(option1 > 0 ? static_cast<size_t>(option1) : 0),
      options_(option2) {
  if (option2 & KXB_TXT_CRLF) lineEnd_ = "\r\n";
}

TextFile::~TextFile() = default;

bool TextFile::start() {
  if (mode_ == KXB_TXT_READ) return true;
  try {
    bool mark = false;
    size_t existing = 0;
    const char* start = channel_->existingStart(&existing);
    if (mode_ == KXB_TXT_APPEND && existing > 0) {
      size_t markBytes;
      encoding_ = detectEncoding(start, existing, &markBytes);
    } else {
      encoding_ = (options_ & KXB_TXT_WRITE_UTF16) ? KXB_TXT_UTF16LE : KXB_TXT_UTF8;
      mark = (options_ & (KXB_TXT_WRITE_UTF16 | KXB_TXT_WRITE_BOM)) != 0;
    }
    encoder_.reset(new Encoder(encoding_));
    if (mark) {
      size_t bytes;
      const char* bom = byteOrderMark(encoding_, &bytes);
      out_.append(bom, bytes);
    }
    return true;
  } catch (const std::bad_alloc&) {
    np_mem_note_failure();
    failed_ = true;
    return fail(outOfMemory(), 0);
  }
}

bool TextFile::fail(const KxbString& text, int code) {
  error_ = text;
  systemError_ = code;
  return false;
}

bool TextFile::failFromChannel() {
  failed_ = true;
  return fail(channel_->error(), channel_->systemError());
}

bool TextFile::canRead() {
  if (mode_ != KXB_TXT_READ) {
    return fail(KxbString("The file is not open for reading."), 0);
  }
  if (!open_) return fail(KxbString("The file is closed."), 0);
  return !failed_;
}

bool TextFile::canWrite() {
  if (mode_ == KXB_TXT_READ) {
    return fail(KxbString("The file is not open for writing."), 0);
  }
  if (!open_) return fail(KxbString("The file is closed."), 0);
  return !failed_;
}

// ---------------------------------------------------------------------------
// Reading

void TextFile::compact() {
  if (pos_ == 0) return;
  if (pos_ == text_.size()) {
    text_.clear();
    pos_ = 0;
  } else if (pos_ >= kCompactBytes && pos_ > text_.size() / 2) {
    text_.erase(0, pos_);
    pos_ = 0;
  }
}

bool TextFile::fill() {
  const char* data = nullptr;
  int got = channel_->read(&data);
  if (got < 0) return failFromChannel();
  byteCount_ += got;
  try {
    compact();
    if (!started_) {
      if (got > 0) {
        head_.append(data, static_cast<size_t>(got));
        // A byte-order mark is at most three bytes long.
        if (head_.size() < 3) return true;
      }
      size_t markBytes;
      encoding_ = detectEncoding(head_.data(), head_.size(), &markBytes);
      decoder_.reset(new Decoder(encoding_, (options_ & KXB_TXT_VALID_UTF8) != 0));
      started_ = true;
      decoder_->decode(head_.data() + markBytes, head_.size() - markBytes, &text_);
      std::string().swap(head_);
    } else if (got > 0) {
      decoder_->decode(data, static_cast<size_t>(got), &text_);
    }
    if (got == 0) {
      decoder_->finish(&text_);
      eof_ = true;
    }
    return true;
  } catch (const std::bad_alloc&) {
    np_mem_note_failure();
    failed_ = true;
    return fail(outOfMemory(), 0);
  }
}

bool TextFile::takeLine(size_t bytes, KxbString* line) {
  if (line == nullptr) return true;
  // A body the caller's string holds alone is reused, which saves an
  // allocation per line in the usual read loop.
  const InternalString* body = KxbStringAccess::body(*line);
  if (body != nullptr && kxAtomGet(&body->refs) == 1) {
    line->truncate(0);
  } else {
    line->setNull();
  }
  if (!KxbStringAccess::appendBytes(*line, text_.data() + pos_,
                                    static_cast<int>(bytes))) {
    line->setNull();
    return fail(outOfMemory(), 0);
  }
  return true;
}

int TextFile::handOut(size_t lineBytes, size_t endBytes, int endKind,
                      bool completesLine, KxbString* line, bool* sawLineEnd) {
  if (!takeLine(lineBytes, line)) return -1;
  int chars = line != nullptr
                  ? line->length()
                  : np_uchar_nlength(text_.data() + pos_, lineBytes);
  pos_ += lineBytes + endBytes;
  scanned_ = 0;
  lastLineEnd_ = endKind;
  if (completesLine) ++lineCount_;
  if (sawLineEnd != nullptr) *sawLineEnd = endKind != KXB_TXT_END_NONE;
  return chars;
}

int TextFile::lineTooLong() {
  failed_ = true;
  fail(kxbStringFormat("Line %d of '%S' is longer than %d bytes.",
                       lineCount_ + 1, &name_, static_cast<int>(maxLineBytes_)),
       0);
  return -1;
}

int TextFile::readLine(int maxChars, KxbString* line, bool* sawLineEnd) {
  int result = nextLine(maxChars, line, sawLineEnd);
  if (result < 0 && line != nullptr) line->setNull();
  return result;
}

int TextFile::nextLine(int maxChars, KxbString* line, bool* sawLineEnd) {
  if (sawLineEnd != nullptr) *sawLineEnd = false;
  if (!canRead()) return -1;
  while (true) {
    const char* base = text_.data() + pos_;
    size_t available = text_.size() - pos_;
    const char* from = base + scanned_;
    size_t rest = available - scanned_;
    const char* lf = static_cast<const char*>(std::memchr(from, '\n', rest));
    size_t beforeLf = lf != nullptr ? static_cast<size_t>(lf - from) : rest;
    const char* cr = static_cast<const char*>(std::memchr(from, '\r', beforeLf));
    const char* end = cr != nullptr ? cr : lf;

    size_t lineBytes = available;
    size_t endBytes = 0;
    int endKind = KXB_TXT_END_NONE;
    if (end != nullptr) {
      lineBytes = static_cast<size_t>(end - base);
      if (*end == '\n') {
        endKind = KXB_TXT_END_LF;
        endBytes = 1;
      } else if (lineBytes + 1 < available) {
        bool crlf = end[1] == '\n';
        endKind = crlf ? KXB_TXT_END_CRLF : KXB_TXT_END_CR;
        endBytes = crlf ? 2 : 1;
      } else if (!eof_) {
        // A "\r" at the end of what is read: a "\n" may follow.
        scanned_ = lineBytes;
        if (!fill()) return -1;
        continue;
      } else {
        endKind = KXB_TXT_END_CR;
        endBytes = 1;
      }
    } else if (eof_) {
      if (available == 0) {
        if (line != nullptr) line->setNull();
        lastLineEnd_ = KXB_TXT_END_NONE;
        return 0;
      }
    } else {
      scanned_ = available;
      // Hand out a piece of a long line once maxChars characters are in and
      // the last of them cannot still be growing.
      if (maxChars > 0 && available > 3) {
        size_t cut = afterChars(base, available - 3, maxChars);
        if (cut < available - 3) {
          return handOut(cut, 0, KXB_TXT_END_NONE, false, line, sawLineEnd);
        }
      }
      if (maxLineBytes_ != 0 && available > maxLineBytes_) return lineTooLong();
      if (!fill()) return -1;
      continue;
    }

    if (maxChars > 0) {
      size_t cut = afterChars(base, lineBytes, maxChars);
      if (cut < lineBytes) {
        return handOut(cut, 0, KXB_TXT_END_NONE, false, line, sawLineEnd);
      }
    }
    if (maxLineBytes_ != 0 && lineBytes > maxLineBytes_) return lineTooLong();
    return handOut(lineBytes, endBytes, endKind, true, line, sawLineEnd);
  }
}

int TextFile::read(char* buffer, int bytes) {
  if (!canRead()) return -1;
  if (buffer == nullptr || bytes <= 0) return 0;
  while (text_.size() == pos_ && !eof_) {
    if (!fill()) return -1;
  }
  size_t available = text_.size() - pos_;
  size_t n = available < static_cast<size_t>(bytes) ? available
                                                    : static_cast<size_t>(bytes);
  std::memcpy(buffer, text_.data() + pos_, n);
  pos_ += n;
  scanned_ = scanned_ > n ? scanned_ - n : 0;
  return static_cast<int>(n);
}

bool TextFile::atEnd() {
  if (mode_ != KXB_TXT_READ || !open_ || failed_) return true;
  while (text_.size() == pos_ && !eof_) {
    if (!fill()) return true;
  }
  return text_.size() == pos_;
}

// ---------------------------------------------------------------------------
// Writing

bool TextFile::put(const char* data, size_t bytes, int extra, bool newline) {
  if (!canWrite()) return false;
  try {
    if (bytes > 0) encoder_->encode(data, bytes, &out_);
    if (newline) {
      const char* end = (extra & KXB_TXT_EXTRA_CRLF) ? "\r\n" : lineEnd_;
      encoder_->encode(end, std::strlen(end), &out_);
      ++lineCount_;
    }
  } catch (const std::bad_alloc&) {
    np_mem_note_failure();
    return fail(outOfMemory(), 0);
  }
  if (out_.size() >= kWriteBytes || (extra & KXB_TXT_EXTRA_FLUSH)) {
    return flush();
  }
  return true;
}

bool TextFile::write(const char* data, int bytes, int extra) {
  if (bytes < 0 || (data == nullptr && bytes > 0)) {
    return fail(KxbString("Invalid text given to write."), 0);
  }
  return put(data, static_cast<size_t>(bytes), extra, false);
}

bool TextFile::write(const char* data, int bytes) {
  return write(data, bytes, 0);
}

bool TextFile::writeln(const char* data, int bytes, int extra) {
  if (bytes < 0 || (data == nullptr && bytes > 0)) {
    return fail(KxbString("Invalid text given to writeln."), 0);
  }
  return put(data, static_cast<size_t>(bytes), extra, true);
}

bool TextFile::writeln(const char* data, int bytes) {
  return writeln(data, bytes, 0);
}

bool TextFile::flush() {
  if (!canWrite()) return false;
  if (out_.empty()) return true;
  if (!channel_->write(out_.data(), out_.size())) return failFromChannel();
  byteCount_ += static_cast<int64_t>(out_.size());
  out_.clear();
  return true;
}

bool TextFile::close() {
  if (!open_) return fail(KxbString("The file is closed."), 0);
  bool ok = true;
  if (mode_ != KXB_TXT_READ) {
    if (!failed_) {
      try {
        encoder_->finish(&out_);
      } catch (const std::bad_alloc&) {
        np_mem_note_failure();
        ok = fail(outOfMemory(), 0);
      }
    }
    ok = ok && !failed_ && flush();
    if (ok && !channel_->commit()) ok = failFromChannel();
    if (!ok) channel_->abandon();
  }
  open_ = false;
  channel_.reset();
  std::string().swap(text_);
  std::string().swap(out_);
  return ok;
}

void TextFile::release() {
  if (open_) {
    if (channel_->replaces()) {
      channel_->abandon();
    } else {
      close();
    }
  }
  delete this;
}

}  // namespace kxb_textio
