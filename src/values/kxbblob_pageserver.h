// The blob page server: fixed-size pages in a small memory area and in a
// temporary file, handed out to blobs and taken back through two free
// lists. Internal to the values subsystem (and its tests and benchmarks).
//
// Page identifiers are signed 64-bit numbers: 0 is none; 1 to memPages()
// name memory pages; a larger id names the file page whose slot starts at
// byte id - memPages() - 1 of the temporary file. Every slot, in memory or
// in the file, is pageSize() data bytes followed by an 8-byte "next" field
// holding the id of the following page of its chain (0 at the end). The
// memory free list starts in ascending order; freed runs of pages are
// linked behind the tail of their list and handed out again from its head.
//
// One server exists per process at a time: the auto singleton
// "BLOBPAGESERVER", joined through KxbBlobPageServerRef. It starts (reads
// its options and makes its file) when first joined and stops when the
// last reference leaves. Every page operation below needs the singleton's
// lock held (KxbBlobPageServerLock); failures are logged on
// "KX.Base.Blob.PageServer" (unit "kxbblob_pageserver"). When that logger's
// level is 1, every operation is timed by the server's RTProfiler under the
// names "ACQUIRE_PAGE", "ADD_FILE_PAGE", "NEXT_PAGE", "FREE_MEM_PAGES",
// "FREE_FILE_PAGES", "READ" and "WRITE".
#ifndef KXB_SRC_VALUES_KXBBLOB_PAGESERVER_H_
#define KXB_SRC_VALUES_KXBBLOB_PAGESERVER_H_

#include <cstdint>

#include "kxbprofiler.h"
#include "kxbsingleton.h"
#include "kxlog.h"
#include "np_fio.h"

class KxbBlobPageServer : public RTProfiler {
 public:
  KxbBlobPageServer();
  // Frees the memory area and buffers and closes (and so removes) the file.
  ~KxbBlobPageServer();
  KxbBlobPageServer(const KxbBlobPageServer&) = delete;
  KxbBlobPageServer& operator=(const KxbBlobPageServer&) = delete;

  // Reads BASE/BLOB/PAGESIZE, BASE/BLOB/MEMPAGES and BASE/TEMP from the
  // option set with the empty name, makes the memory area and the
  // temporary file ("kxblob" and six characters) and fills the memory free
  // list. False (logged, nothing kept) when the area or the file cannot be
  // made; it may be called again then.
  bool startup();
  bool started() const { return file_ != nullptr; }

  uint32_t pageSize() const { return pageSize_; }
  uint32_t memPages() const { return memPages_; }

  // A free page, linked behind `previous` (when not 0): from the memory free
  // list when `preferMemory` and it is not empty, else from the file free
  // list, else a new zero-filled slot at the end of the file. 0 on failure
  // (nothing linked).
  int64_t acquirePage(bool preferMemory, int64_t previous);
  // The next field of page `id` into *next. False for an invalid id or a
  // failed read.
  bool nextPage(int64_t id, int64_t* next);
  // Copies `bytes` bytes at `offset` of page `id`'s data.
  bool readPage(int64_t id, uint32_t offset, void* buffer, uint32_t bytes);
  bool writePage(int64_t id, uint32_t offset, const void* data,
                 uint32_t bytes);
  // Gives the chain from `first` to `last` (by next fields) back to the free
  // lists: runs of memory pages to the memory list, runs of file pages to
  // the file list. A broken chain is logged; the pages walked so far are
  // freed.
  void freeChain(int64_t first, int64_t last);

  // Bulk paths for whole pages, equivalent to page-by-page acquisition and
  // copying but with one file access per run of slots.
  //
  // True when no freed file page waits for reuse, so that new pages come
  // from the end of the file.
  bool fileFreeListEmpty() const { return fileFreeHead_ == 0; }
  // Stores up to `pages` full pages of `data` in new slots at the end of the
  // file, chained behind `previous` (not 0). Returns the pages stored (at
  // least 1, possibly fewer than asked) with the last one's id in *lastId;
  // 0 when the staging buffer cannot be had (nothing changed; store the
  // pages one by one); -1 when the file access failed (logged; nothing
  // stored, the file as before).
  int64_t appendPages(int64_t previous, const char* data, int64_t pages,
                      int64_t* lastId);
  // Copies the data of up to `pages` whole pages of a chain, starting with
  // page `first` and going no further than `last` (and not into `last`
  // unless `includeLast`), into `buffer`. Returns the pages copied with the
  // last one's id in *lastId, or -1 after a failure (logged).
  int64_t readPages(int64_t first, int64_t last, bool includeLast,
                    char* buffer, int64_t pages, int64_t* lastId);

  // For tests and diagnostics: the temporary file's path ("" before start-up) and length in bytes.
  const char* filePath() const { return path_; }
  int64_t fileLength() const { return fileLength_; }

 private:
  class Profiled;

  bool isMemoryPage(int64_t id) const {
    return id >= 1 && id <= static_cast<int64_t>(memPages_);
  }
  bool isFilePage(int64_t id) const;
  // Start of page `id`'s slot in the memory area / in the file.
  unsigned char* memorySlot(int64_t id) const;
  int64_t fileOffset(int64_t id) const {
    return id - static_cast<int64_t>(memPages_) - 1;
  }
  int64_t slotSize() const { return static_cast<int64_t>(pageSize_) + 8; }
  bool profiling() const { return kxlogGetLevel(logger_) < 2; }

  // False, logged, for an id that is no file page (which also raises the
  // assertion).
  bool checkFilePage(int64_t id);
  // Transfers at byte `offset` of the file, without moving its position;
  // 0 or an error number (EIO for a read past the end of the file).
  int writeAt(int64_t offset, const void* data, size_t bytes);
  int readAt(int64_t offset, void* buffer, size_t bytes);

  // Writes `next` into the next field of page `id`.
  bool setNext(int64_t id, int64_t next);
  // A new zero-filled slot at the end of the file; 0 on failure.
  int64_t addFilePage();
  // Cuts the file back to `length` after a failed extension.
  void restoreLength(int64_t length);
  // Links the run `first`..`last` (chained already) behind a free list.
  void linkRun(bool memory, int64_t first, int64_t last);
  bool ensureStaging();
  void discard();
  void assertBadId(const char* message);

  kxLogger* logger_;
  unsigned char* area_;
  uint32_t pageSize_;
  uint32_t memPages_;
  np_fio_file* file_;
  unsigned char* zeroPage_;  // pageSize_ + 8 zero bytes, made on first use
  int64_t memFreeHead_;
  int64_t memFreeTail_;
  int64_t fileFreeHead_;
  int64_t fileFreeTail_;

  int64_t fileLength_;
  unsigned char* staging_;
  int64_t stagingSlots_;
  int64_t readWindow_;  // slots read at once by readPages; grows while
                        // chains turn out contiguous
  char path_[4096];
};

// A reference to the process's page server (the auto singleton
// "BLOBPAGESERVER"). Each blob body holds one; tests and benchmarks may
// hold their own to keep one server alive.
class KxbBlobPageServerRef final : public KxbAutoSingleton {
 public:
  KxbBlobPageServerRef() = default;
  ~KxbBlobPageServerRef() override = default;
  KxbBlobPageServerRef(const KxbBlobPageServerRef&) = delete;
  KxbBlobPageServerRef& operator=(const KxbBlobPageServerRef&) = delete;

  // Joins the server and starts it when it has not started. The server, or
  // null when it could not be made or started (no reference is then held).
  KxbBlobPageServer* join();
  // Drops the reference; the last one stops the server.
  void leave() { terminate(); }
  KxbBlobPageServer* server() const {
    return static_cast<KxbBlobPageServer*>(instance());
  }

  const char* singletonName() override { return "BLOBPAGESERVER"; }
  void* createInstance() override;
  void destroyInstance(void* instance) override;
};

// Holds the page server's lock for a scope.
class KxbBlobPageServerLock {
 public:
  explicit KxbBlobPageServerLock(KxbBlobPageServerRef& ref) : ref_(ref) {
    ref_.lock();
  }
  ~KxbBlobPageServerLock() { ref_.unlock(); }
  KxbBlobPageServerLock(const KxbBlobPageServerLock&) = delete;
  KxbBlobPageServerLock& operator=(const KxbBlobPageServerLock&) = delete;

 private:
  KxbBlobPageServerRef& ref_;
};

#endif  // KXB_SRC_VALUES_KXBBLOB_PAGESERVER_H_
