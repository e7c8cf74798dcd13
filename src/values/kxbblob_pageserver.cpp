// The blob page server. See kxbblob_pageserver.h.
#include "values/kxbblob_pageserver.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

#include "kxbconfigoptions.h"
#include "kxbstartup.h"
#include "kxbstring.h"
#include "np_mem.h"

namespace {

constexpr const char* kUnit = "kxbblob_pageserver";
constexpr int kDefaultPageSize = 4096;
// Only named in the start-up message: without BASE/BLOB/MEMPAGES the server
// keeps no memory pages at all.
constexpr int kDefaultMemPages = 10;
constexpr int kMaxPageSize = 1 << 30;
// The bulk paths copy whole slots through a buffer of about this size.
constexpr int64_t kStagingBytes = int64_t{1} << 20;
constexpr int64_t kLongChain = 1000000;

}  // namespace

#define KXB_BLOB_LOG(level, ...) \
  kxlogWrite(logger_, level, kUnit, __LINE__, __VA_ARGS__)

// Brackets one server operation with the profiler when the logger traces.
class KxbBlobPageServer::Profiled {
 public:
  Profiled(KxbBlobPageServer* server, const char* name)
      : server_(server->profiling() ? server : nullptr), name_(name) {
    if (server_ != nullptr) server_->enter();
  }
  ~Profiled() {
    if (server_ != nullptr) server_->exit(name_);
  }
  Profiled(const Profiled&) = delete;
  Profiled& operator=(const Profiled&) = delete;

 private:
  KxbBlobPageServer* server_;
  const char* name_;
};

KxbBlobPageServer::KxbBlobPageServer()
    : logger_(kxlogGetLogger("KX.Base.Blob.PageServer")),
      area_(nullptr),
      pageSize_(kDefaultPageSize),
      memPages_(0),
      file_(nullptr),
      zeroPage_(nullptr),
      memFreeHead_(0),
      memFreeTail_(0),
      fileFreeHead_(0),
      fileFreeTail_(0),
      fileLength_(0),
      staging_(nullptr),
      stagingSlots_(0),
      readWindow_(1) {
  path_[0] = '\0';
}

KxbBlobPageServer::~KxbBlobPageServer() { discard(); }

void KxbBlobPageServer::discard() {
  np_mem_free(area_);
  np_mem_free(zeroPage_);
  np_mem_free(staging_);
  np_fio_close(file_);  // removes the file
  area_ = zeroPage_ = staging_ = nullptr;
  file_ = nullptr;
  stagingSlots_ = 0;
  memFreeHead_ = memFreeTail_ = fileFreeHead_ = fileFreeTail_ = 0;
  fileLength_ = 0;
  path_[0] = '\0';
}

void KxbBlobPageServer::assertBadId(const char* message) {
  kxbAssertFailure(message, kUnit, __LINE__);
}

// ---------------------------------------------------------------------------
// Start-up

namespace {

// The value of `key` in the option set with the empty name, unexpanded;
// false when absent (or when there is no option store).
bool readOption(const char* key, KxbString* value) {
  KxbConfigOptions* options = kxbGetConfigOptions(KxbString("", true));
  return options != nullptr &&
         options->getOption(KxbString(key, true), value, false);
}

}  // namespace

bool KxbBlobPageServer::startup() {
  discard();
  KXB_BLOB_LOG(KXLOG_PROGRESS, "Startup");

  // A count option: 0 when absent; a value that is not a whole number in
  // 0..max is logged and counts as 0.
  auto readCount = [this](const char* key, const char* invalid, int max) {
    KxbString value;
    if (!readOption(key, &value)) return 0;
    bool failed = false;
    const int count = value.asInt(&failed);
    if (failed || count < 0 || count > max) {
      KXB_BLOB_LOG(KXLOG_ERROR, invalid);
      return 0;
    }
    return count;
  };

  int pageSize = readCount("BASE/BLOB/PAGESIZE",
                           "Invalid blob page size in config", kMaxPageSize);
  if (pageSize == 0) {
    KXB_BLOB_LOG(KXLOG_PROGRESS, "Default page size of %d bytes will be used",
                 kDefaultPageSize);
    pageSize = kDefaultPageSize;
  }
  const int memPages = readCount("BASE/BLOB/MEMPAGES",
                                 "Invalid mem page count in config", INT32_MAX);
  if (memPages == 0) {
    // The message names a default count, but without the option there are
    // no memory pages and the page size is the default one: this is how
    // the server has always behaved, and file-only blobs depend on it.
    KXB_BLOB_LOG(KXLOG_PROGRESS, "Default mem page count of %d will be used",
                 kDefaultMemPages);
    pageSize = kDefaultPageSize;
  }
  pageSize_ = static_cast<uint32_t>((pageSize + 3) & ~3);
  memPages_ = static_cast<uint32_t>(memPages);

  if (memPages_ > 0) {
    const uint64_t bytes = static_cast<uint64_t>(slotSize()) * memPages_;
    area_ = static_cast<unsigned char*>(np_mem_alloc(bytes));
    if (area_ == nullptr) {
      KXB_BLOB_LOG(KXLOG_ERROR, "Page area allocation failed");
      discard();
      return false;
    }
  }

  KxbString temp;
  const bool haveTemp = readOption("BASE/TEMP", &temp);
  if (!haveTemp) KXB_BLOB_LOG(KXLOG_ERROR, "No temp path configured");
  const int rc = np_fio_tmpfile(haveTemp ? temp.asCstr() : nullptr, "kxblob",
                                path_, sizeof path_, &file_);
  if (rc != 0) {
    char description[256];
    KXB_BLOB_LOG(KXLOG_ERROR, "Failed to create temp file: %d %s", rc,
                 np_fio_errdesc(rc, description, sizeof description));
    discard();
    return false;
  }
  // The file goes when it is closed; should that not be arranged, it goes
  // now (an open file stays usable after its name is removed).
  if (np_fio_remove_on_close(file_, path_) != 0) np_fio_unlink(path_);
  fileLength_ = 0;

  memFreeHead_ = memFreeTail_ = fileFreeHead_ = fileFreeTail_ = 0;
  for (int64_t id = 1; id <= static_cast<int64_t>(memPages_); ++id) {
    const int64_t none = 0;
    std::memcpy(memorySlot(id) + pageSize_, &none, sizeof none);
    linkRun(true, id, id);
  }
  KXB_BLOB_LOG(KXLOG_PROGRESS, "Startup succeeded");
  return true;
}

// ---------------------------------------------------------------------------
// File access

bool KxbBlobPageServer::isFilePage(int64_t id) const {
  if (id <= static_cast<int64_t>(memPages_)) return false;
  const int64_t offset = fileOffset(id);
  return offset <= fileLength_ - slotSize();
}

unsigned char* KxbBlobPageServer::memorySlot(int64_t id) const {
  return area_ + static_cast<size_t>(slotSize()) * static_cast<size_t>(id - 1);
}

bool KxbBlobPageServer::checkFilePage(int64_t id) {
  if (isFilePage(id)) return true;
  KXB_BLOB_LOG(KXLOG_ERROR, "Invalid page id %I64i", id);
  assertBadId("invalid page id");
  return false;
}

int KxbBlobPageServer::writeAt(int64_t offset, const void* data,
                               size_t bytes) {
  return np_fio_pwrite(file_, data, bytes, offset);
}

int KxbBlobPageServer::readAt(int64_t offset, void* buffer, size_t bytes) {
  size_t got = 0;
  const int rc = np_fio_pread(file_, buffer, bytes, offset, &got);
  if (rc != 0) return rc;
  return got == bytes ? 0 : EIO;  // a page past the end of the file
}

void KxbBlobPageServer::restoreLength(int64_t length) {
  if (np_fio_truncate(file_, length) == 0) {
    fileLength_ = length;
    return;
  }
  // Keep the ids of later pages consistent with what the file really holds.
  np_fio_info info;
  if (np_fio_fstat(file_, &info) == 0) fileLength_ = info.size;
}

bool KxbBlobPageServer::ensureStaging() {
  if (staging_ != nullptr) return true;
  if (slotSize() > kStagingBytes) return false;
  const int64_t slots = kStagingBytes / slotSize();
  staging_ = static_cast<unsigned char*>(
      np_mem_alloc(static_cast<size_t>(slots * slotSize())));
  if (staging_ == nullptr) return false;
  stagingSlots_ = slots;
  return true;
}

// ---------------------------------------------------------------------------
// Pages

bool KxbBlobPageServer::setNext(int64_t id, int64_t next) {
  if (isMemoryPage(id)) {
    std::memcpy(memorySlot(id) + pageSize_, &next, sizeof next);
    return true;
  }
  if (!checkFilePage(id)) return false;
  if (writeAt(fileOffset(id) + pageSize_, &next, sizeof next) != 0) {
    KXB_BLOB_LOG(KXLOG_ERROR, "File write failed during write page id");
    return false;
  }
  return true;
}

int64_t KxbBlobPageServer::addFilePage() {
  Profiled profiled(this, "ADD_FILE_PAGE");
  if (zeroPage_ == nullptr) {
    zeroPage_ = static_cast<unsigned char*>(np_mem_alloc(slotSize()));
    if (zeroPage_ == nullptr) {
      KXB_BLOB_LOG(KXLOG_ERROR, "Out of mem");
      return 0;
    }
    std::memset(zeroPage_, 0, slotSize());
  }
  const int64_t end = fileLength_;
  if (writeAt(end, zeroPage_, slotSize()) != 0) {
    KXB_BLOB_LOG(KXLOG_ERROR, "File write failed at %I64i", end);
    restoreLength(end);
    return 0;
  }
  fileLength_ = end + slotSize();
  return static_cast<int64_t>(memPages_) + 1 + end;
}

int64_t KxbBlobPageServer::acquirePage(bool preferMemory, int64_t previous) {
  Profiled profiled(this, "ACQUIRE_PAGE");
  int64_t id = 0;
  enum { kFromMemory, kFromFileList, kNewFilePage } source;
  if (preferMemory && memFreeHead_ != 0) {
    id = memFreeHead_;
    if (!isMemoryPage(id)) {
      KXB_BLOB_LOG(KXLOG_ERROR, "Invalid page id %I64i", id);
      assertBadId("memory free list corrupt");
      return 0;
    }
    int64_t* next = reinterpret_cast<int64_t*>(memorySlot(id) + pageSize_);
    if (memFreeHead_ == memFreeTail_) {
      memFreeHead_ = memFreeTail_ = 0;
    } else {
      std::memcpy(&memFreeHead_, next, sizeof memFreeHead_);
    }
    std::memset(next, 0, sizeof *next);
    source = kFromMemory;
  } else if (fileFreeHead_ != 0) {
    id = fileFreeHead_;
    if (!isFilePage(id)) {
      KXB_BLOB_LOG(KXLOG_ERROR, "Invalid page id %I64i", id);
      assertBadId("file free list corrupt");
      return 0;
    }
    if (fileFreeHead_ == fileFreeTail_) {
      fileFreeHead_ = fileFreeTail_ = 0;
    } else {
      int64_t next = 0;
      if (readAt(fileOffset(id) + pageSize_, &next, sizeof next) != 0) {
        KXB_BLOB_LOG(KXLOG_ERROR, "File read failed during read page id");
        return 0;
      }
      fileFreeHead_ = next;
    }
    source = kFromFileList;
  } else {
    id = addFilePage();
    if (id == 0) return 0;
    source = kNewFilePage;
  }

  if (previous != 0 && !setNext(previous, id)) {
    // Give the page back where it came from.
    switch (source) {
      case kFromMemory:
        std::memcpy(memorySlot(id) + pageSize_, &memFreeHead_,
                    sizeof memFreeHead_);
        if (memFreeHead_ == 0) memFreeTail_ = id;
        memFreeHead_ = id;
        break;
      case kFromFileList:  // its next field in the file was left as it was
        if (fileFreeHead_ == 0) fileFreeTail_ = id;
        fileFreeHead_ = id;
        break;
      case kNewFilePage:
        restoreLength(fileOffset(id));
        break;
    }
    return 0;
  }
  return id;
}

bool KxbBlobPageServer::nextPage(int64_t id, int64_t* next) {
  Profiled profiled(this, "NEXT_PAGE");
  if (isMemoryPage(id)) {
    std::memcpy(next, memorySlot(id) + pageSize_, sizeof *next);
    return true;
  }
  if (id <= 0 || !isFilePage(id)) {
    KXB_BLOB_LOG(KXLOG_ERROR, "Invalid page ID supplied to nextPage");
    assertBadId("invalid page id");
    return false;
  }
  if (readAt(fileOffset(id) + pageSize_, next, sizeof *next) != 0) {
    KXB_BLOB_LOG(KXLOG_ERROR, "File read failed during read page id");
    return false;
  }
  return true;
}

bool KxbBlobPageServer::readPage(int64_t id, uint32_t offset, void* buffer,
                                 uint32_t bytes) {
  Profiled profiled(this, "READ");
  if (offset > pageSize_ || bytes > pageSize_ - offset) return false;
  if (isMemoryPage(id)) {
    std::memcpy(buffer, memorySlot(id) + offset, bytes);
    return true;
  }
  if (!checkFilePage(id)) return false;
  if (readAt(fileOffset(id) + offset, buffer, bytes) != 0) {
    KXB_BLOB_LOG(KXLOG_ERROR, "File read failed while read page");
    return false;
  }
  return true;
}

bool KxbBlobPageServer::writePage(int64_t id, uint32_t offset,
                                  const void* data, uint32_t bytes) {
  Profiled profiled(this, "WRITE");
  if (offset > pageSize_ || bytes > pageSize_ - offset) return false;
  if (isMemoryPage(id)) {
    std::memcpy(memorySlot(id) + offset, data, bytes);
    return true;
  }
  if (!checkFilePage(id)) return false;
  if (writeAt(fileOffset(id) + offset, data, bytes) != 0) {
    KXB_BLOB_LOG(KXLOG_ERROR, "Failed to write %d bytes to file",
                 static_cast<int>(bytes));
    return false;
  }
  return true;
}

void KxbBlobPageServer::linkRun(bool memory, int64_t first, int64_t last) {
  int64_t& head = memory ? memFreeHead_ : fileFreeHead_;
  int64_t& tail = memory ? memFreeTail_ : fileFreeTail_;
  if (tail == 0) {
    head = first;
  } else if (!setNext(tail, first)) {
    return;  // logged; the run stays out of the list
  }
  tail = last;
}

void KxbBlobPageServer::freeChain(int64_t first, int64_t last) {
  if (first == 0) return;
  const bool profile = profiling();
  bool runMemory = false;
  int64_t runFirst = 0;
  int64_t runLast = 0;
  auto flush = [&] {
    if (runFirst == 0) return;
    linkRun(runMemory, runFirst, runLast);
    if (profile) exit(runMemory ? "FREE_MEM_PAGES" : "FREE_FILE_PAGES");
    runFirst = 0;
  };

  int64_t walked = 0;
  int64_t id = first;
  while (true) {
    if (++walked > kLongChain) {
      KXB_BLOB_LOG(KXLOG_RECOVERABLE, "Suspiciously long page list");
      walked = 1;
    }
    const bool memory = isMemoryPage(id);
    if (!memory && !isFilePage(id)) {
      KXB_BLOB_LOG(KXLOG_ERROR, "Invalid page id %I64i while freeing page", id);
      assertBadId("invalid page id while freeing");
      break;
    }
    if (runFirst != 0 && memory != runMemory) flush();
    if (runFirst == 0) {
      runFirst = id;
      runMemory = memory;
      if (profile) enter();
    }
    runLast = id;
    if (id == last) break;

    int64_t next = 0;
    if (memory) {
      std::memcpy(&next, memorySlot(id) + pageSize_, sizeof next);
    } else {
      const int64_t offset = fileOffset(id) + pageSize_;
      if (readAt(offset, &next, sizeof next) != 0) {
        KXB_BLOB_LOG(KXLOG_ERROR, "Seek/read failed at offset %I64i", offset);
        break;
      }
    }
    id = next;
  }
  flush();
}

// ---------------------------------------------------------------------------
// Bulk paths

int64_t KxbBlobPageServer::appendPages(int64_t previous, const char* data,
                                       int64_t pages, int64_t* lastId) {
  Profiled profiled(this, "ADD_FILE_PAGE");
  if (pages <= 0 || previous == 0 || !ensureStaging()) return 0;
  const int64_t slot = slotSize();
  const int64_t count = std::min(pages, stagingSlots_);
  const int64_t base = fileLength_;
  const int64_t firstId = static_cast<int64_t>(memPages_) + 1 + base;
  for (int64_t i = 0; i < count; ++i) {
    unsigned char* s = staging_ + i * slot;
    std::memcpy(s, data + i * static_cast<int64_t>(pageSize_), pageSize_);
    const int64_t next = i + 1 < count ? firstId + (i + 1) * slot : 0;
    std::memcpy(s + pageSize_, &next, sizeof next);
  }
  if (writeAt(base, staging_, static_cast<size_t>(count * slot)) != 0) {
    KXB_BLOB_LOG(KXLOG_ERROR, "File write failed at %I64i", base);
    restoreLength(base);
    return -1;
  }
  fileLength_ = base + count * slot;
  if (!setNext(previous, firstId)) {
    restoreLength(base);
    return -1;
  }
  *lastId = firstId + (count - 1) * slot;
  return count;
}

int64_t KxbBlobPageServer::readPages(int64_t first, int64_t last,
                                     bool includeLast, char* buffer,
                                     int64_t pages, int64_t* lastId) {
  Profiled profiled(this, "READ");
  const int64_t slot = slotSize();
  int64_t copied = 0;
  int64_t id = first;
  bool done = false;
  while (!done && copied < pages && (id != last || includeLast)) {
    if (isMemoryPage(id)) {
      std::memcpy(buffer + copied * pageSize_, memorySlot(id), pageSize_);
      ++copied;
      *lastId = id;
      if (id == last) break;
      std::memcpy(&id, memorySlot(id) + pageSize_, sizeof id);
      continue;
    }
    if (!isFilePage(id)) {
      KXB_BLOB_LOG(KXLOG_ERROR, "Invalid page id %I64i", id);
      assertBadId("invalid page id");
      return -1;
    }
    if (!ensureStaging()) break;  // the caller goes on page by page
    const int64_t offset = fileOffset(id);
    const int64_t count =
        std::min({readWindow_, pages - copied, stagingSlots_,
                  (fileLength_ - offset) / slot});
    if (readAt(offset, staging_, static_cast<size_t>(count * slot)) != 0) {
      KXB_BLOB_LOG(KXLOG_ERROR, "File read failed while read page");
      return -1;
    }
    // Copy the pages of the chain that follow each other in the slots read.
    bool contiguous = false;
    for (int64_t i = 0;; ++i) {
      const unsigned char* s = staging_ + i * slot;
      std::memcpy(buffer + copied * pageSize_, s, pageSize_);
      ++copied;
      *lastId = id;
      if (id == last || copied == pages) {
        done = true;
        contiguous = true;
        break;
      }
      int64_t next;
      std::memcpy(&next, s + pageSize_, sizeof next);
      contiguous = next == id + slot;
      id = next;
      if (!contiguous || i + 1 == count || (id == last && !includeLast)) break;
    }
    readWindow_ = contiguous ? std::min(readWindow_ * 2, stagingSlots_) : 1;
  }
  return copied;
}

// ---------------------------------------------------------------------------
// The singleton reference

KxbBlobPageServer* KxbBlobPageServerRef::join() {
  if (!initialize(nullptr)) return nullptr;
  KxbBlobPageServer* s = server();
  bool running = false;
  if (s != nullptr) {
    KxbBlobPageServerLock hold(*this);
    running = s->started() || s->startup();
  }
  if (!running) {
    terminate();
    return nullptr;
  }
  return s;
}

void* KxbBlobPageServerRef::createInstance() {
  return np_mem_new<KxbBlobPageServer>();
}

void KxbBlobPageServerRef::destroyInstance(void* instance) {
  delete static_cast<KxbBlobPageServer*>(instance);
}
