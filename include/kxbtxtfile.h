// Text files: reading and writing lines of UTF-8 text, from files on disk,
// from byte streams and from strings in memory.
//
// KxbTxtFile is the interface of one open text file. Its objects are made by
// the text IO library, a companion library loaded when the library is
// initialised, and handed out by the open functions below; this library
// adds the convenience overloads that only convert their argument. A file is
// owned by its caller and given back with release(), which also closes it.
//
// What the text IO library does with text:
//  - Reading hands out lines without their line end; "\n", "\r\n" and a
//    lone "\r" all end a line, a last line need not have one. A UTF-8
//    byte-order mark at the start is skipped; a file that starts with a
//    UTF-16 byte-order mark (either byte order) is read as UTF-16 and handed
//    out as UTF-8 (unpaired surrogates become U+FFFD).
//  - Writing produces UTF-8 with "\n" line ends unless the options ask for
//    something else. In write mode a file on disk is replaced atomically:
//    the text goes to a temporary file beside it, which close() flushes to
//    the device and renames over the target, so that at any moment the
//    target holds either the old or the new text in full. release() without
//    a successful close() leaves the old file untouched and removes the
//    temporary file. The replacement keeps the old file's permission bits; a
//    symbolic link is followed, so the file it points to is replaced.
//  - Append mode writes at the end of the existing file (or a new one) in
//    place, in the encoding of the existing file.
//  - Errors name the path (or the stream's name) and the operating system's
//    reason, and are kept in getErrorMessage().
//
// Thread safety: one file or stream object is used by one thread at a time.
// The open functions may be called from any thread once the text IO library
// is loaded, and not after it is unloaded.
#ifndef KXB_INCLUDE_KXBTXTFILE_H_
#define KXB_INCLUDE_KXBTXTFILE_H_

#include <cstdint>

#include "kxbstring.h"

enum KxbTxtFileOpenMode {
  KXB_TXT_APPEND = 0,  // position at the end of the existing content
  KXB_TXT_READ = 1,
  KXB_TXT_WRITE = 2,  // existing content discarded (replaced at close)
};

// Bits of the open functions' second option (option2).
enum : int {
  // Output lines end in "\r\n" instead of "\n".
  KXB_TXT_CRLF = 0x1,
  // Write mode: start a new file with a UTF-8 byte-order mark.
  KXB_TXT_WRITE_BOM = 0x2,
  // Write mode: write UTF-16 little-endian with its byte-order mark.
  KXB_TXT_WRITE_UTF16 = 0x4,
  // Read mode: hand out valid UTF-8 only, replacing every ill-formed byte
  // sequence by U+FFFD. Without it UTF-8 input is handed out byte for byte.
  // The configuration files are read with it.
  KXB_TXT_VALID_UTF8 = 0x800000,
};

// The first option (option1) limits reading: a line longer than option1
// bytes (before its line end) is an error naming the line; -1 (or 0) means
// no limit. It is ignored when writing.

// Bits of the `extra` argument of write and writeln.
enum : int {
  // Hand the buffered text to the file or stream now (not to the device:
  // close() does that).
  KXB_TXT_EXTRA_FLUSH = 0x1,
  // writeln: end this line with "\r\n" whatever the file's line end.
  KXB_TXT_EXTRA_CRLF = 0x2,
};

// Line ends reported by lastLineEnd().
enum : int {
  KXB_TXT_END_NONE = 0,
  KXB_TXT_END_LF = 1,
  KXB_TXT_END_CRLF = 2,
  KXB_TXT_END_CR = 3,
};

// Encodings reported by getEncoding().
enum : int {
  KXB_TXT_UTF8 = 0,
  KXB_TXT_UTF16LE = 1,
  KXB_TXT_UTF16BE = 2,
};

// One open text file. The order of the virtual operations is part of the
// interface between this library and the text IO library; do not reorder.
class KxbTxtFile {
 public:
  // Writes what is buffered and closes the file: a file written in write
  // mode is flushed to the device and renamed over its target here. False on
  // failure (the target is then left as it was). The object stays to be
  // released; further reads and writes fail.
  virtual bool close() = 0;
  // Hands buffered output to the file or stream (not to the device).
  virtual bool flush() = 0;
  // Text of the last error; null when there was none.
  virtual KxbString getErrorMessage() = 0;
  // The path, or the stream's name (null for a string).
  virtual KxbString getName() = 0;
  virtual KxbTxtFileOpenMode getMode() = 0;
  // True until close() or a failed close.
  virtual bool isOpen() = 0;
  // Read mode: true once every line has been handed out.
  virtual bool atEnd() = 0;
  // Lines read (counting a line cut by maxChars once) or written so far.
  virtual int getLineCount() = 0;
  // Read mode: up to `bytes` bytes of decoded UTF-8 text into `buffer`,
  // ignoring line structure (a character may be split between calls).
  // Returns the bytes copied, 0 at the end, -1 on error.
  virtual int read(char* buffer, int bytes) = 0;
  // Reads the next line without its end into *line. At most `maxChars`
  // characters are taken (-1 or 0: no limit); a longer line is handed out in
  // pieces, each with *sawLineEnd false. Returns the characters handed out;
  // 0 with *sawLineEnd false is the end of the file (*line null); below 0 is
  // an error (*line null).
  virtual int readLine(int maxChars, KxbString* line, bool* sawLineEnd) = 0;
  // The encoding of the file: KXB_TXT_UTF8 or a UTF-16 form.
  virtual int getEncoding() = 0;
  // Destroys the object, closing the file first when it is still open
  // (buffered output goes to an appended file or a stream), except that a
  // file on disk in write mode that was not closed successfully is
  // abandoned: its target keeps the old content and the temporary file is
  // removed.
  virtual void release() = 0;
  // Bytes read from or written to the file or stream so far.
  virtual int64_t getByteCount() = 0;
  // How the last line handed out by readLine ended (KXB_TXT_END_*).
  virtual int lastLineEnd() = 0;
  // The operating system's error number of the last failure, 0 when the
  // failure was not the system's.
  virtual int getSystemError() = 0;

  // Writing. Each returns false on failure; the text is UTF-8.
  // The bytes of `text` (none for an empty or null string), passing `extra`.
  virtual bool write(const KxbString& text, int extra);
  virtual bool write(const char* data, int bytes, int extra) = 0;
  // The text; an empty or null string writes nothing and returns true.
  virtual bool write(const KxbString& text);
  virtual bool write(const char* data, int bytes) = 0;
  // A NUL-terminated text; null writes nothing and returns true.
  virtual bool write(const char* text);
  // The text and a line end (an empty or null string gives an empty line).
  virtual bool writeln(const KxbString& text, int extra);
  virtual bool writeln(const char* data, int bytes, int extra) = 0;
  virtual bool writeln(const KxbString& text);
  // The bytes followed by a line end.
  virtual bool writeln(const char* data, int bytes) = 0;
  // A NUL-terminated text and a line end; null gives an empty line.
  virtual bool writeln(const char* text);

 protected:
  KxbTxtFile() = default;
  // Objects are destroyed by release().
  ~KxbTxtFile() = default;
};

// A byte stream that the text IO library can read text from or write text
// to, in place of a file. The text IO library takes the stream over when it
// is given to kxbTxtFileOpenStream: it calls close() when the file is
// released, or at once when the open fails. The order of the virtual
// operations is part of the interface; do not reorder.
class KxbIORaw {
 public:
  // True when the stream can be used.
  virtual bool ready() = 0;
  // Hands out in *data a pointer to the next bytes (valid until the next
  // call) and returns their count, advancing the position: at most
  // `maxBytes` when maxBytes >= 1, else everything that is left. 0 at the
  // end, -1 on error. `reserved` is 0.
  virtual int read(const char** data, int reserved, int maxBytes) = 0;
  virtual KxbString getErrorMessage() = 0;
  // The stream's name or path (for messages); may be null.
  virtual KxbString getName() = 0;
  // Prepares the stream for `mode`; the options are those given to the open
  // function. False on failure.
  virtual bool open(KxbTxtFileOpenMode mode, int option1, int option2) = 0;
  // Writes `count` bytes; returns count, or -1 on failure.
  virtual int write(const char* data, int count) = 0;
  // Ends the use of the stream and destroys it.
  virtual void close() = 0;
  // Size in bytes.
  virtual int64_t size() = 0;
  // Moves the position by `delta`; the new position, or -1 on failure.
  virtual int64_t seek(int64_t delta) = 0;

 protected:
  KxbIORaw() = default;
  // Streams are destroyed by close().
  virtual ~KxbIORaw();
};

// A KxbIORaw over a caller's KxbString ("string as file"). Reads hand out
// pointers into the string's own text, so the string must not be changed by
// anyone else while the stream is in use; writes append to it. Made with
// create() and destroyed by close().
class RawString : public KxbIORaw {
 public:
  // A stream over `target` (not owned; must outlive the stream), or null
  // when memory ran out.
  static RawString* create(KxbString* target);

  bool ready() override;
  int read(const char** data, int reserved, int maxBytes) override;
  KxbString getErrorMessage() override;
  KxbString getName() override;
  // Write mode empties the target; append mode moves to its end; read mode
  // changes nothing. Always true.
  bool open(KxbTxtFileOpenMode mode, int option1, int option2) override;
  // Appends to the target; -1 (with message 444) when memory ran out.
  int write(const char* data, int count) override;
  void close() override;
  int64_t size() override;
  // Relative move; past the end fails with -1 (message 654) and leaves the
  // position. A position before the start is accepted, and reading there
  // then fails.
  int64_t seek(int64_t delta) override;

 private:
  explicit RawString(KxbString* target);
  ~RawString() override;
  void refresh();

  KxbString* target_;
  KxbString errorMessage_;
  const char* data_;
  int64_t size_;
  int64_t position_;
};

// Opens the file at `path` (null is the empty path) through the text IO
// library. Returns the file, or null with *error (when given) set to the
// reason. The options are described above.
KxbTxtFile* kxbTxtFileOpen(const char* path, KxbTxtFileOpenMode mode,
                           int option1, int option2, KxbString* error);
// Opens a text file over `stream`, which the text IO library takes over
// (see KxbIORaw). Returns the file, or null with *error set.
KxbTxtFile* kxbTxtFileOpenStream(KxbIORaw* stream, KxbTxtFileOpenMode mode,
                                 int option1, int option2, KxbString* error);
// Opens a text file over the caller's string `text` (which must outlive the
// file): reading reads its text, write mode replaces it, append mode adds to
// it. Options 0 and 0. Null with *error set (message 29) when the stream
// cannot be made.
KxbTxtFile* kxbTxtFileOpenString(KxbString* text, KxbTxtFileOpenMode mode,
                                 KxbString* error);

#endif  // KXB_INCLUDE_KXBTXTFILE_H_
