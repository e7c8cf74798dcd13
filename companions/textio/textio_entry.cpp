// The text IO library's entry point and its text IO object.
#include <new>

#include "services/kxbtxtfile_io.h"
#include "np_mem.h"
#include "textio_channel.h"
#include "textio_directory.h"
#include "textio_file.h"
#include "textio_text.h"

namespace kxb_textio {
namespace {

void setError(KxbString* error, const KxbString& text) {
  if (error != nullptr) *error = text;
}

KxbTxtFile* openOver(Channel* channel, const KxbString& name,
                     KxbTxtFileOpenMode mode, int option1, int option2,
                     KxbString* error) {
  TextFile* file =
      np_mem_new<TextFile>(channel, name, mode, option1, option2);
  if (file == nullptr) {
    delete channel;
    setError(error, outOfMemory());
    return nullptr;
  }
  if (!file->start()) {
    setError(error, file->getErrorMessage());
    file->release();
    return nullptr;
  }
  return file;
}

class TextIO final : public KxbTextIO {
 public:
  KxbDirectoryListing* openDirectory(const KxbString& path, int option,
                                     KxbString* error) override {
    return openListing(path, option, error);
  }

  KxbTxtFile* openFile(const KxbString& path, KxbTxtFileOpenMode mode,
                       int option1, int option2, KxbString* error) override {
    KxbString reason;
    int systemError = 0;
    Channel* channel = openFileChannel(path, mode, &reason, &systemError);
    if (channel == nullptr) {
      setError(error, reason);
      return nullptr;
    }
    return openOver(channel, path, mode, option1, option2, error);
  }

  KxbTxtFile* openStream(KxbIORaw* stream, KxbTxtFileOpenMode mode,
                         int option1, int option2, KxbString* error) override {
    KxbString name = stream != nullptr ? stream->getName() : KxbString();
    KxbString reason;
    Channel* channel =
        openStreamChannel(stream, mode, option1, option2, &reason);
    if (channel == nullptr) {
      setError(error, reason);
      return nullptr;
    }
    return openOver(channel, name, mode, option1, option2, error);
  }

  void release() override { delete this; }

 private:
  ~TextIO() = default;
};

}  // namespace
}  // namespace kxb_textio

extern "C" __attribute__((visibility("default"))) KxbTextIO* KxbIOInitialize() {
  return np_mem_new<kxb_textio::TextIO>();
}
