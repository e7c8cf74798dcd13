// Channels over files on disk.
#include <cerrno>
#include <cstring>
#include <new>
#include <string>

#include "np_fio.h"
#include "np_mem.h"
#include "textio_channel.h"
#include "textio_text.h"

namespace kxb_textio {
namespace {

constexpr size_t kReadBytes = 64 * 1024;

class ReadChannel final : public Channel {
 public:
  ReadChannel(const KxbString& path, np_fio_file* file)
      : path_(path), file_(file) {}
  ~ReadChannel() override { np_fio_close(file_); }

  int read(const char** data) override {
    size_t got = 0;
    int code = np_fio_read(file_, buffer_, sizeof buffer_, &got);
    if (code != 0) {
      fail(osErrorText("Cannot read", path_, "", code), code);
      return -1;
    }
    *data = buffer_;
    return static_cast<int>(got);
  }
  bool write(const char*, size_t) override {
    fail(KxbString("The file is not open for writing."), 0);
    return false;
  }
  bool commit() override { return true; }
  void abandon() override {}

 private:
  KxbString path_;
  np_fio_file* file_;
  char buffer_[kReadBytes];
};

// Writes straight into an open file: append mode, and write mode on
// something that is not a regular file (a device, a pipe).
class DirectChannel final : public Channel {
 public:
  DirectChannel(const KxbString& path, np_fio_file* file)
      : path_(path), file_(file) {}
  ~DirectChannel() override { np_fio_close(file_); }

  // Reads the first bytes of the existing file, for its byte-order mark.
  void peekStart() {
    size_t got = 0;
    if (np_fio_read(file_, start_, sizeof start_, &got) == 0) startBytes_ = got;
  }
  const char* existingStart(size_t* bytes) override {
    *bytes = startBytes_;
    return start_;
  }
  int read(const char**) override {
    fail(KxbString("The file is not open for reading."), 0);
    return -1;
  }
  bool write(const char* data, size_t bytes) override {
    int code = np_fio_write(file_, data, bytes);
    if (code != 0) {
      fail(osErrorText("Cannot write", path_, "", code), code);
      return false;
    }
    return true;
  }
  bool commit() override {
    np_fio_file* file = file_;
    file_ = nullptr;
    int code = np_fio_close(file);
    if (code != 0) {
      fail(osErrorText("Cannot write", path_, "", code), code);
      return false;
    }
    return true;
  }
  void abandon() override {}

 private:
  KxbString path_;
  np_fio_file* file_;
  char start_[4];
  size_t startBytes_ = 0;
};

// Write mode on a regular file: the text goes to a temporary file in the
// target's directory, renamed over the target at commit.
class ReplaceChannel final : public Channel {
 public:
  // Takes the strings over without copying: nothing may throw between the
  // temporary's creation and the channel that owns it.
  ReplaceChannel(const KxbString& path, std::string&& target,
                 std::string&& directory, std::string&& temporary,
                 np_fio_file* file) noexcept
      : path_(path),
        target_(std::move(target)),
        directory_(std::move(directory)),
        temporary_(std::move(temporary)),
        file_(file) {}
  ~ReplaceChannel() override { abandon(); }

  bool replaces() const override { return true; }

  int read(const char**) override {
    fail(KxbString("The file is not open for reading."), 0);
    return -1;
  }
  bool write(const char* data, size_t bytes) override {
    int code = np_fio_write(file_, data, bytes);
    if (code != 0) {
      fail(osErrorText("Cannot write", path_, "", code), code);
      return false;
    }
    return true;
  }
  bool commit() override {
    int code = np_fio_sync(file_);
    if (code == 0) {
      np_fio_file* file = file_;
      file_ = nullptr;
      code = np_fio_close(file);
    }
    if (code != 0) {
      fail(osErrorText("Cannot write", path_, "", code), code);
      abandon();
      return false;
    }
    code = np_fio_rename(temporary_.c_str(), target_.c_str());
    if (code != 0) {
      fail(osErrorText("Cannot replace", path_, "", code), code);
      abandon();
      return false;
    }
    temporary_.clear();
    // The rename is done; a failure to sync the directory only weakens
    // durability after a crash, so it is not reported.
    np_fio_syncdir(directory_.c_str());
    return true;
  }
  void abandon() override {
    if (file_ != nullptr) {
      np_fio_close(file_);
      file_ = nullptr;
    }
    if (!temporary_.empty()) {
      np_fio_unlink(temporary_.c_str());
      temporary_.clear();
    }
  }

 private:
  KxbString path_;
  std::string target_;
  std::string directory_;
  std::string temporary_;
  np_fio_file* file_;
};

Channel* openRead(const KxbString& path, KxbString* error, int* systemError) {
  np_fio_file* file = nullptr;
  int code = np_fio_open(path.asCstr(), NP_FIO_READ, 0, &file);
  if (code != 0) {
    *error = osErrorText("Cannot open", path, " for reading", code);
    *systemError = code;
    return nullptr;
  }
  Channel* channel = np_mem_new<ReadChannel>(path, file);
  if (channel == nullptr) np_fio_close(file);
  return channel;
}

Channel* openAppend(const KxbString& path, KxbString* error,
                    int* systemError) {
  np_fio_file* file = nullptr;
  const unsigned permissions = 0666;
  int code = np_fio_open(path.asCstr(),
                         NP_FIO_READWRITE | NP_FIO_CREATE | NP_FIO_APPEND,
                         permissions, &file);
  bool readable = code == 0;
  if (code == EACCES) {
    code = np_fio_open(path.asCstr(),
                       NP_FIO_WRITE | NP_FIO_CREATE | NP_FIO_APPEND,
                       permissions, &file);
  }
  if (code != 0) {
    *error = osErrorText("Cannot open", path, " for appending", code);
    *systemError = code;
    return nullptr;
  }
  DirectChannel* channel = np_mem_new<DirectChannel>(path, file);
  if (channel == nullptr) {
    np_fio_close(file);
    return nullptr;
  }
  if (readable) channel->peekStart();
  return channel;
}

Channel* openReplace(const KxbString& path, KxbString* error,
                     int* systemError) {
  const char* given = path.asCstr();
  std::string target = given;
  unsigned permissions = 0;
  np_fio_info info;
  int code = np_fio_statx(given, &info);
  if (code == 0 && info.type == NP_FIO_TYPE_DIRECTORY) {
    code = EISDIR;
  } else if (code == 0 && info.type == NP_FIO_TYPE_OTHER) {
    // A device or a pipe cannot be replaced: write into it.
    np_fio_file* file = nullptr;
    code = np_fio_open(given, NP_FIO_WRITE | NP_FIO_TRUNCATE, 0, &file);
    if (code == 0) {
      Channel* channel = np_mem_new<DirectChannel>(path, file);
      if (channel == nullptr) np_fio_close(file);
      return channel;
    }
  } else if (code == 0) {
    // Replace the file a symbolic link points to, not the link.
    std::string resolved(4096, '\0');
    if (np_fio_realpath(given, resolved.data(), resolved.size()) == 0) {
      target = resolved.c_str();
    }
    permissions = info.permissions;
  } else if (code == ENOENT) {
    code = 0;
    permissions = np_fio_default_permissions();
  }
  if (code != 0) {
    *error = osErrorText("Cannot open", path, " for writing", code);
    *systemError = code;
    return nullptr;
  }

  std::string directory(target.size() + 2, '\0');
  std::string name(target.size() + 2, '\0');
  np_fio_pparse(target.c_str(), directory.data(), directory.size(),
                name.data(), name.size());
  directory.resize(std::strlen(directory.c_str()));
  name.resize(std::strlen(name.c_str()));
  if (name.empty()) {
    *error = osErrorText("Cannot open", path, " for writing", EISDIR);
    *systemError = EISDIR;
    return nullptr;
  }
  if (directory.empty()) directory.assign(1, '.');
  // A hidden name that does not end like the target, so that readers of the
  // directory that pick files by extension pass it by.
  std::string prefix;
  prefix.reserve(name.size() + 2);
  prefix.append(1, '.').append(name).append(1, '.');
  std::string temporary(directory.size() + prefix.size() + 16, '\0');
  np_fio_file* file = nullptr;
  code = np_fio_tmpfile(directory.c_str(), prefix.c_str(), temporary.data(),
                        temporary.size(), &file);
  if (code != 0) {
    *error =
        osErrorText("Cannot create a temporary file for", path, "", code);
    *systemError = code;
    return nullptr;
  }
  temporary.resize(std::strlen(temporary.c_str()));
  code = np_fio_chmod(file, permissions);
  Channel* channel = nullptr;
  if (code == 0) {
    // The strings are taken over only once the channel exists, so the
    // temporary's name is still here when it does not.
    channel = np_mem_new<ReplaceChannel>(path, std::move(target),
                                         std::move(directory),
                                         std::move(temporary), file);
  }
  if (channel == nullptr) {
    np_fio_close(file);
    np_fio_unlink(temporary.c_str());
    if (code != 0) {
      *error = osErrorText("Cannot open", path, " for writing", code);
      *systemError = code;
    }
  }
  return channel;
}

}  // namespace

Channel* openFileChannel(const KxbString& path, KxbTxtFileOpenMode mode,
                         KxbString* error, int* systemError) {
  *systemError = 0;
  try {
    Channel* channel = nullptr;
    switch (mode) {
      case KXB_TXT_READ: channel = openRead(path, error, systemError); break;
      case KXB_TXT_APPEND: channel = openAppend(path, error, systemError); break;
      case KXB_TXT_WRITE: channel = openReplace(path, error, systemError); break;
      default:
        *error = kxbStringFormat("Cannot open '%s': unknown open mode %d.",
                                 path.asCstr(), static_cast<int>(mode));
        return nullptr;
    }
    if (channel == nullptr && error->isNull()) *error = outOfMemory();
    return channel;
  } catch (const std::bad_alloc&) {
    np_mem_note_failure();
    *error = outOfMemory();
    return nullptr;
  }
}

}  // namespace kxb_textio
