// Directory listings of the text IO library.
#ifndef KXB_COMPANIONS_TEXTIO_TEXTIO_DIRECTORY_H_
#define KXB_COMPANIONS_TEXTIO_TEXTIO_DIRECTORY_H_

#include "kxbpath.h"
#include "kxbstring.h"

namespace kxb_textio {

// A sorted listing of `path` with the KXB_DIR_* bits of `option`, or null
// with *error set (naming the path and the reason).
KxbDirectoryListing* openListing(const KxbString& path, int option,
                                 KxbString* error);

}  // namespace kxb_textio

#endif  // KXB_COMPANIONS_TEXTIO_TEXTIO_DIRECTORY_H_
