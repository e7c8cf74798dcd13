// KxbBlob: the shared body, appending and reading across pages.
#include "kxbblob.h"

#include <algorithm>
#include <new>

#include "kx_atomic.h"
#include "kxbmempool.h"
#include "values/kxbblob_pageserver.h"

// The body shared by a blob and its copies; a block of the memory pool.
struct KxbBlobBody {
  kxAtom refCount;
  int64_t firstPage = 0;
  int64_t lastPage = 0;
  uint32_t fill = 0;        // bytes used in lastPage
  uint32_t readOffset = 0;  // offset in readPage
  int64_t readPage = 0;     // 0 before the first page is read
  KxbBlobPageServerRef server;
  int64_t size = 0;
};

KxbBlob::KxbBlob() : body_(nullptr) {}

KxbBlob::KxbBlob(const KxbBlob& other) : body_(other.body_) {
  if (body_ != nullptr) kxAtomAdd(&body_->refCount, 1);
}

KxbBlob& KxbBlob::operator=(const KxbBlob& other) {
  if (body_ != other.body_) {
    if (other.body_ != nullptr) kxAtomAdd(&other.body_->refCount, 1);
    release();
    body_ = other.body_;
  }
  return *this;
}

KxbBlob::KxbBlob(KxbBlob&& other) noexcept : body_(other.body_) {
  other.body_ = nullptr;
}

KxbBlob& KxbBlob::operator=(KxbBlob&& other) noexcept {
  if (this != &other) {
    release();
    body_ = other.body_;
    other.body_ = nullptr;
  }
  return *this;
}

KxbBlob::~KxbBlob() { release(); }

void KxbBlob::release() {
  KxbBlobBody* body = body_;
  body_ = nullptr;
  if (body == nullptr || kxAtomSub(&body->refCount, 1) >= 1) return;
  if (body->firstPage != 0) {
    KxbBlobPageServerLock hold(body->server);
    body->server.server()->freeChain(body->firstPage, body->lastPage);
  }
  body->server.leave();
  body->~KxbBlobBody();
  KxbMemPool::freeBytes(body);
}

bool KxbBlob::makeBody() {
  void* block = nullptr;
  if (!KxbMemPool::getBytes(sizeof(KxbBlobBody), &block)) return false;
  auto* body = new (block) KxbBlobBody;
  KxbBlobPageServer* server = body->server.join();
  if (server == nullptr) {
    body->~KxbBlobBody();
    KxbMemPool::freeBytes(block);
    return false;
  }
  kxAtomInit(&body->refCount, 1);
  // The last page (there is none yet) has no room and nothing to read.
  body->fill = body->readOffset = server->pageSize();
  body_ = body;
  return true;
}

bool KxbBlob::append(const char* data, int64_t count) {
  if (count < 0 || (data == nullptr && count > 0)) return false;
  if (count == 0) return true;
  if (body_ == nullptr && !makeBody()) return false;
  KxbBlobBody* b = body_;
  KxbBlobPageServer* server = b->server.server();
  const uint32_t pageSize = server->pageSize();

  // The server's lock is taken per page operation, so that other threads'
  // blobs get their turn during a long append.
  while (count > 0) {
    KxbBlobPageServerLock hold(b->server);
    const uint32_t room = pageSize - b->fill;
    if (room > 0) {
      const uint32_t n =
          static_cast<uint32_t>(std::min<int64_t>(room, count));
      if (!server->writePage(b->lastPage, b->fill, data, n)) return false;
      b->fill += n;
      b->size += n;
      data += n;
      count -= n;
      continue;
    }
    // Whole pages behind the first go to fresh file slots in one write.
    if (b->firstPage != 0 && count >= pageSize &&
        server->fileFreeListEmpty()) {
      int64_t last = 0;
      const int64_t stored =
          server->appendPages(b->lastPage, data, count / pageSize, &last);
      if (stored < 0) return false;
      if (stored > 0) {
        const int64_t bytes = stored * pageSize;
        b->lastPage = last;
        b->fill = pageSize;
        b->size += bytes;
        data += bytes;
        count -= bytes;
        continue;
      }
    }
    // The first page may come from memory; later ones come from the file.
    const int64_t id = server->acquirePage(b->firstPage == 0, b->lastPage);
    if (id == 0) return false;
    if (b->firstPage == 0) b->firstPage = id;
    b->lastPage = id;
    b->fill = 0;
  }
  return true;
}

int64_t KxbBlob::read(char* buffer, int64_t count) {
  if (body_ == nullptr || count < 0 || (buffer == nullptr && count > 0)) {
    return -1;
  }
  KxbBlobBody* b = body_;
  KxbBlobPageServer* server = b->server.server();
  const uint32_t pageSize = server->pageSize();

  int64_t done = 0;
  while (done < count) {
    const bool onLast = b->readPage == b->lastPage;
    const uint32_t end = onLast ? b->fill : pageSize;
    const uint32_t available = end - std::min(b->readOffset, end);
    if (available > 0) {
      const uint32_t n =
          static_cast<uint32_t>(std::min<int64_t>(available, count - done));
      KxbBlobPageServerLock hold(b->server);
      if (!server->readPage(b->readPage, b->readOffset, buffer + done, n)) {
        return -1;
      }
      b->readOffset += n;
      done += n;
      continue;
    }
    if (onLast) break;
    KxbBlobPageServerLock hold(b->server);
    int64_t next = b->firstPage;
    if (b->readPage != 0 && !server->nextPage(b->readPage, &next)) return -1;
    b->readPage = next;
    b->readOffset = 0;
    // Whole pages wanted: copy a run of them at once.
    const int64_t whole = (count - done) / pageSize;
    if (whole > 0) {
      int64_t last = 0;
      const int64_t copied = server->readPages(
          next, b->lastPage, b->fill == pageSize, buffer + done, whole, &last);
      if (copied < 0) return -1;
      if (copied > 0) {
        b->readPage = last;
        b->readOffset = pageSize;
        done += copied * pageSize;
      }
    }
  }
  return done;
}

bool KxbBlob::rewind() {
  if (body_ == nullptr) return false;
  KxbBlobBody* b = body_;
  if (b->firstPage == 0) {
    b->readPage = 0;
    b->readOffset = b->server.server()->pageSize();
  } else {
    b->readPage = b->firstPage;
    b->readOffset = 0;
  }
  return true;
}

int64_t KxbBlob::size() const { return body_ == nullptr ? 0 : body_->size; }
