#include "np_mem.h"
#include "textio_directory.h"

#include <algorithm>
#include <new>
#include <string>
#include <vector>

#include "np_fio.h"
#include "textio_text.h"

namespace kxb_textio {
namespace {

struct Entry {
  std::string name;
  bool isDirectory;
};

class Listing final : public KxbDirectoryListing {
 public:
  Listing(const KxbString& path, std::vector<Entry> entries)
      : path_(path), entries_(std::move(entries)) {}

  bool next(KxbString* name, bool* isDirectory) override {
    if (cursor_ >= entries_.size()) return false;
    bool ok = getEntry(static_cast<int>(cursor_), name, isDirectory);
    ++cursor_;
    return ok;
  }
  void rewind() override { cursor_ = 0; }
  int count() override { return static_cast<int>(entries_.size()); }
  bool getEntry(int index, KxbString* name, bool* isDirectory) override {
    if (index < 0 || static_cast<size_t>(index) >= entries_.size()) {
      if (name != nullptr) name->setNull();
      return false;
    }
    const Entry& entry = entries_[static_cast<size_t>(index)];
    if (name != nullptr) {
      *name = KxbString(entry.name.c_str());
      if (name->isNull()) {
        error_ = outOfMemory();
        return false;
      }
    }
    if (isDirectory != nullptr) *isDirectory = entry.isDirectory;
    return true;
  }
  KxbString getPath() override { return path_; }
  KxbString getErrorMessage() override { return error_; }
  void release() override { delete this; }

 private:
  ~Listing() = default;

  KxbString path_;
  KxbString error_;
  std::vector<Entry> entries_;
  size_t cursor_ = 0;
};

struct Collector {
  int option;
  std::vector<Entry>* entries;
};

int collect(void* context, const char* name, int type) {
  Collector* collector = static_cast<Collector*>(context);
  bool isDirectory = type == NP_FIO_TYPE_DIRECTORY;
  int wanted = collector->option & (KXB_DIR_FILES | KXB_DIR_DIRECTORIES);
  if (wanted != 0 &&
      !(((wanted & KXB_DIR_FILES) && type == NP_FIO_TYPE_FILE) ||
        ((wanted & KXB_DIR_DIRECTORIES) && isDirectory))) {
    return 0;
  }
  try {
    collector->entries->push_back(Entry{name, isDirectory});
  } catch (const std::bad_alloc&) {
    np_mem_note_failure();
    return ENOMEM;
  }
  return 0;
}

}  // namespace

KxbDirectoryListing* openListing(const KxbString& path, int option,
                                 KxbString* error) {
  try {
    std::vector<Entry> entries;
    Collector collector{option, &entries};
    int code = np_fio_listdir(path.asCstr(), collect, &collector);
    if (code != 0) {
      if (error != nullptr) *error = osErrorText("Cannot list", path, "", code);
      return nullptr;
    }
    std::sort(entries.begin(), entries.end(),
              [](const Entry& a, const Entry& b) { return a.name < b.name; });
    Listing* listing = new Listing(path, std::move(entries));
    return listing;
  } catch (const std::bad_alloc&) {
    np_mem_note_failure();
    if (error != nullptr) *error = outOfMemory();
    return nullptr;
  }
}

}  // namespace kxb_textio
