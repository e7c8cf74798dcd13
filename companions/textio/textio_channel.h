// Channels: where a text file's bytes come from and go to. A file on disk
// (read, append, or write through a temporary file renamed at commit) or a
// caller's KxbIORaw stream.
#ifndef KXB_COMPANIONS_TEXTIO_TEXTIO_CHANNEL_H_
#define KXB_COMPANIONS_TEXTIO_TEXTIO_CHANNEL_H_

#include <cstddef>
#include <cstdint>

#include "kxbstring.h"
#include "kxbtxtfile.h"

namespace kxb_textio {

class Channel {
 public:
  virtual ~Channel() = default;
  // The next bytes: *data points at them until the next call. Returns the
  // count, 0 at the end, -1 on error.
  virtual int read(const char** data) = 0;
  // Writes all bytes; false on error.
  virtual bool write(const char* data, size_t bytes) = 0;
  // Ends writing successfully: for a replaced file, syncs the temporary
  // file and renames it over the target. False on error.
  virtual bool commit() = 0;
  // Ends the channel without committing: a replacement is abandoned.
  // Called once, by the destructor of the owner, when commit was not done.
  virtual void abandon() = 0;
  // True for a file in write mode that is replaced at commit (and left as
  // it was when abandoned).
  virtual bool replaces() const { return false; }
  // The first bytes of an existing file that is appended to, for its
  // encoding ("" when new or unknown).
  virtual const char* existingStart(size_t* bytes) {
    *bytes = 0;
    return "";
  }

  const KxbString& error() const { return error_; }
  int systemError() const { return systemError_; }

 protected:
  void fail(const KxbString& text, int code) {
    error_ = text;
    systemError_ = code;
  }

 private:
  KxbString error_;
  int systemError_ = 0;
};

// A channel for the file at `path` in `mode`, or null with *error and
// *systemError set. Write mode makes the temporary file now.
Channel* openFileChannel(const KxbString& path, KxbTxtFileOpenMode mode,
                         KxbString* error, int* systemError);
// A channel over `stream` in `mode` (the stream is opened with the options);
// it owns the stream and closes it when destroyed, also when the open fails
// (then null with *error set).
Channel* openStreamChannel(KxbIORaw* stream, KxbTxtFileOpenMode mode,
                           int option1, int option2, KxbString* error);

}  // namespace kxb_textio

#endif  // KXB_COMPANIONS_TEXTIO_TEXTIO_CHANNEL_H_
