// The text file object of the text IO library.
#ifndef KXB_COMPANIONS_TEXTIO_TEXTIO_FILE_H_
#define KXB_COMPANIONS_TEXTIO_TEXTIO_FILE_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "kxbtxtfile.h"
#include "textio_channel.h"
#include "textio_codec.h"

namespace kxb_textio {

class TextFile final : public KxbTxtFile {
 public:
  // A file over `channel` (taken over). `name` is used in messages.
  TextFile(Channel* channel, const KxbString& name, KxbTxtFileOpenMode mode,
           int option1, int option2);

  // Write modes: writes the byte-order mark the options or the existing file
  // ask for. False with the error kept.
  bool start();

  bool close() override;
  bool flush() override;
  KxbString getErrorMessage() override { return error_; }
  KxbString getName() override { return name_; }
  KxbTxtFileOpenMode getMode() override { return mode_; }
  bool isOpen() override { return open_; }
  bool atEnd() override;
  int getLineCount() override { return lineCount_; }
  int read(char* buffer, int bytes) override;
  int readLine(int maxChars, KxbString* line, bool* sawLineEnd) override;
  int getEncoding() override { return encoding_; }
  void release() override;
  int64_t getByteCount() override { return byteCount_; }
  int lastLineEnd() override { return lastLineEnd_; }
  int getSystemError() override { return systemError_; }

  using KxbTxtFile::write;
  using KxbTxtFile::writeln;
  bool write(const char* data, int bytes, int extra) override;
  bool write(const char* data, int bytes) override;
  bool writeln(const char* data, int bytes, int extra) override;
  bool writeln(const char* data, int bytes) override;

 private:
  ~TextFile();

  bool fail(const KxbString& text, int code);
  bool failFromChannel();
  bool canRead();
  bool canWrite();
  // Reads the next piece of input into text_. False on error; sets eof_ at
  // the end.
  bool fill();
  // Drops text_ before pos_ when that is worth it.
  void compact();
  // Hands out [pos_, pos_ + bytes) as *line.
  bool takeLine(size_t bytes, KxbString* line);
  // readLine without the clean-up of *line on errors.
  int nextLine(int maxChars, KxbString* line, bool* sawLineEnd);
  // Hands out `lineBytes` at pos_ and moves past them and `endBytes`.
  int handOut(size_t lineBytes, size_t endBytes, int endKind,
              bool completesLine, KxbString* line, bool* sawLineEnd);
  int lineTooLong();
  bool put(const char* data, size_t bytes, int extra, bool newline);

  std::unique_ptr<Channel> channel_;
  KxbString name_;
  KxbTxtFileOpenMode mode_;
  size_t maxLineBytes_;  // 0: no limit
  int options_;
  bool open_ = true;
  bool failed_ = false;  // a read or write failed: the file is unusable
  KxbString error_;
  int systemError_ = 0;
  int lineCount_ = 0;
  int64_t byteCount_ = 0;
  int lastLineEnd_ = KXB_TXT_END_NONE;
  int encoding_ = 0;

  // Reading: decoded text not yet handed out is text_[pos_, end). scanned_
  // bytes after pos_ are known to hold no line end.
  std::string head_;  // first bytes, kept until the encoding is known
  bool started_ = false;
  bool eof_ = false;
  std::unique_ptr<Decoder> decoder_;
  std::string text_;
  size_t pos_ = 0;
  size_t scanned_ = 0;

  // Writing.
  std::unique_ptr<Encoder> encoder_;
  std::string out_;
  const char* lineEnd_ = "\n";
};

}  // namespace kxb_textio

#endif  // KXB_COMPANIONS_TEXTIO_TEXTIO_FILE_H_
