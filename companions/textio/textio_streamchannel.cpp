// Channels over a caller's KxbIORaw stream.
#include <climits>
#include <new>

#include "np_mem.h"
#include "textio_channel.h"
#include "textio_text.h"

namespace kxb_textio {
namespace {

constexpr int kReadBytes = 64 * 1024;

// "<what> the text stream '<name>': <the stream's error>", or without the
// name when the stream has none.
KxbString streamError(const char* what, KxbIORaw* stream) {
  KxbString name = stream->getName();
  KxbString reason = stream->getErrorMessage();
  if (reason.isNull() || reason.length() == 0) {
    reason = KxbString("the stream reported a failure", true);
  }
  if (name.isNull() || name.length() == 0) {
    return kxbStringFormat("%s the text stream: %S", what, &reason);
  }
  return kxbStringFormat("%s the text stream '%S': %S", what, &name, &reason);
}

class StreamChannel final : public Channel {
 public:
  explicit StreamChannel(KxbIORaw* stream) : stream_(stream) {}
  ~StreamChannel() override { stream_->close(); }

  int read(const char** data) override {
    int got = stream_->read(data, 0, kReadBytes);
    if (got < 0) {
      fail(streamError("Cannot read from", stream_), 0);
      return -1;
    }
    return got;
  }
  bool write(const char* data, size_t bytes) override {
    while (bytes > 0) {
      int chunk = bytes > INT_MAX ? INT_MAX : static_cast<int>(bytes);
      int written = stream_->write(data, chunk);
      if (written < 0 || written > chunk) {
        fail(streamError("Cannot write to", stream_), 0);
        return false;
      }
      if (written == 0) {
        fail(KxbString("Cannot write to the text stream: it took no bytes."),
             0);
        return false;
      }
      data += written;
      bytes -= static_cast<size_t>(written);
    }
    return true;
  }
  bool commit() override { return true; }
  void abandon() override {}

 private:
  KxbIORaw* stream_;
};

}  // namespace

Channel* openStreamChannel(KxbIORaw* stream, KxbTxtFileOpenMode mode,
                           int option1, int option2, KxbString* error) {
  if (stream == nullptr) {
    *error = KxbString("No text stream was given.");
    return nullptr;
  }
  if (mode != KXB_TXT_READ && mode != KXB_TXT_WRITE &&
      mode != KXB_TXT_APPEND) {
    *error = kxbStringFormat("Cannot open the text stream: unknown open mode %d.",
                             static_cast<int>(mode));
    stream->close();
    return nullptr;
  }
  if (!stream->ready()) {
    *error = streamError("Cannot use", stream);
    stream->close();
    return nullptr;
  }
  if (!stream->open(mode, option1, option2)) {
    *error = streamError("Cannot open", stream);
    stream->close();
    return nullptr;
  }
  Channel* channel = np_mem_new<StreamChannel>(stream);
  if (channel == nullptr) {
    *error = outOfMemory();
    stream->close();
  }
  return channel;
}

}  // namespace kxb_textio
