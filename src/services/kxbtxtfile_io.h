// The text IO object: the one object the text IO library hands out from its
// entry point, through which this library opens files, streams and directory
// listings. Shared by the library and the text IO library; the order of the
// virtual operations is the interface between them.
#ifndef KXB_SRC_SERVICES_KXBTXTFILE_IO_H_
#define KXB_SRC_SERVICES_KXBTXTFILE_IO_H_

#include "kxbpath.h"
#include "kxbstring.h"
#include "kxbtxtfile.h"

class KxbTextIO {
 public:
  // (0) A directory listing; null with *error set.
  virtual KxbDirectoryListing* openDirectory(const KxbString& path,
                                             int option, KxbString* error) = 0;
  // (1) A file by path; null with *error set.
  virtual KxbTxtFile* openFile(const KxbString& path, KxbTxtFileOpenMode mode,
                               int option1, int option2,
                               KxbString* error) = 0;
  // (2) A file over a stream, which is taken over (closed on failure too).
  virtual KxbTxtFile* openStream(KxbIORaw* stream, KxbTxtFileOpenMode mode,
                                 int option1, int option2,
                                 KxbString* error) = 0;
  // (3) Destroys the object (at shutdown).
  virtual void release() = 0;

 protected:
  KxbTextIO() = default;
  ~KxbTextIO() = default;
};

// The entry point's name and type: extern "C" KxbTextIO* KxbIOInitialize().
#define KXB_TEXTIO_ENTRY_POINT "KxbIOInitialize"
typedef KxbTextIO* (*KxbIOInitializeFn)();

#endif  // KXB_SRC_SERVICES_KXBTXTFILE_IO_H_
