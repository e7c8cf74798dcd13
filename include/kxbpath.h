// Paths and directory listings in KxbString terms.
//
// The path grammar is the platform's (POSIX: "/" separates names); these
// functions manage the buffers and the conversion to and from KxbString.
// Directory listings are made by the text IO library (see kxbtxtfile.h).
//
// Thread safety: the functions may be called from any thread (listings only
// while the text IO library is loaded); one listing object is used by one
// thread at a time.
#ifndef KXB_INCLUDE_KXBPATH_H_
#define KXB_INCLUDE_KXBPATH_H_

#include "kxbstring.h"

// Bits of kxbDirectoryOpen's option. Without either, every entry is listed.
enum : int {
  KXB_DIR_FILES = 0x40000000,        // regular files (and links to them) only
  KXB_DIR_DIRECTORIES = 0x20000000,  // directories (and links to them) only
};

// The entries of one directory, taken when it was opened: names only (no
// "." and ".."), sorted by byte value, so that readers of a directory see
// its files in a predictable order. Owned by the caller; given back with
// release(). The order of the virtual operations is part of the interface
// with the text IO library; do not reorder.
class KxbDirectoryListing {
 public:
  // The next entry's name and whether it is a directory (either output may
  // be null); false, outputs untouched, after the last one.
  virtual bool next(KxbString* name, bool* isDirectory) = 0;
  // Makes next() start again with the first entry.
  virtual void rewind() = 0;
  virtual int count() = 0;
  // The entry at `index` (0-based); false with *name null when out of range.
  virtual bool getEntry(int index, KxbString* name, bool* isDirectory) = 0;
  // The directory's path as it was given.
  virtual KxbString getPath() = 0;
  virtual KxbString getErrorMessage() = 0;
  // Destroys the listing.
  virtual void release() = 0;

 protected:
  KxbDirectoryListing() = default;
  ~KxbDirectoryListing() = default;
};

// `directory` and `name` joined by the platform ("/a" + "b" -> "/a/b"; no
// separator is added to an empty directory or one ending in "/"), or a null
// string when the platform refuses (a null argument counts as "").
KxbString kxbConcatPath(const KxbString& directory, const KxbString& name);
// The directory part of `path` ("/a/b" -> "/a", "/b" -> "/", "b" -> "");
// *name (when given) receives the name part ("b"). On failure the result and
// *name are null. A null path counts as "".
KxbString kxbParsePath(const KxbString& path, KxbString* name);
// A listing of `path` made by the text IO library with the KXB_DIR_* bits of
// `option`, or null with *error (when given) set to the reason naming the
// path.
KxbDirectoryListing* kxbDirectoryOpen(const KxbString& path, int option,
                                      KxbString* error);

#endif  // KXB_INCLUDE_KXBPATH_H_
