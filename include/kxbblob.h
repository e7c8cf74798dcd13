// KxbBlob: an append-only binary large object that may outgrow memory.
//
//   KxbBlob blob;
//   blob.append(data, n);          // false when a page could not be stored
//   blob.rewind();
//   int64_t got = blob.read(buffer, sizeof buffer);
//
// The bytes live in fixed-size pages of the process-wide page server (the
// auto singleton "BLOBPAGESERVER", started when the first blob stores a
// byte and stopped when the last blob that stored one is gone, which
// removes its file). A blob's first
// page may come from the server's small memory area; every later page comes
// from its temporary file ("kxblob..." in BASE/TEMP), so small blobs stay in
// memory and large ones spill to disk. The server reads its settings when it
// starts: BASE/BLOB/PAGESIZE (bytes per page, default 4096, rounded up to a
// multiple of 4) and BASE/BLOB/MEMPAGES (pages in memory; without this
// option there are none and the page size is 4096).
//
// Copies share one body, content and read position alike: there is no copy
// on write. The last copy to go gives the pages back to the server.
//
// Thread safety: the page server serialises its own work, so different
// blobs may be used on different threads. A blob and its copies are used by
// one thread at a time. Nothing throws; failures are logged on the logger
// "KX.Base.Blob.PageServer" and reported by the results below.
#ifndef KXB_INCLUDE_KXBBLOB_H_
#define KXB_INCLUDE_KXBBLOB_H_

#include <cstdint>

struct KxbBlobBody;

class KxbBlob {
 public:
  // Null: no body, size 0.
  KxbBlob();
  // Share the body of `other` (the old body of *this is released).
  KxbBlob(const KxbBlob& other);
  KxbBlob& operator=(const KxbBlob& other);
  // Takes the body of `other`, which becomes null.
  KxbBlob(KxbBlob&& other) noexcept;
  KxbBlob& operator=(KxbBlob&& other) noexcept;
  ~KxbBlob();

  // Appends `count` bytes of `data`, making the body (and starting the page
  // server) on first use. A count of 0 returns true and changes nothing.
  // False when the server cannot start, a page cannot be had or written,
  // `count` is negative or `data` null: the bytes stored before the failing
  // page stay stored and readable, and size() counts exactly them.
  bool append(const char* data, int64_t count);
  // Reads up to `count` bytes from the read position into `buffer` and
  // moves the position on. Returns the bytes read: 0 at the end, for a
  // count of 0 and for an empty blob; -1 for a null blob, a negative count,
  // a null buffer or a page that could not be read (the position then
  // stays at the last page read whole; `buffer` may hold part of the data).
  // Reading after appending, without rewind(), starts at the first byte.
  int64_t read(char* buffer, int64_t count);
  // Moves the read position to the first byte; false for a null blob.
  bool rewind();
  // Total bytes appended; 0 for a null blob.
  int64_t size() const;
  bool isNull() const { return body_ == nullptr; }

 private:
  bool makeBody();
  void release();

  KxbBlobBody* body_;
};

#endif  // KXB_INCLUDE_KXBBLOB_H_
