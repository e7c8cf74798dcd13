// Small helpers of the text IO library: error texts and guarded allocation.
#ifndef KXB_COMPANIONS_TEXTIO_TEXTIO_TEXT_H_
#define KXB_COMPANIONS_TEXTIO_TEXTIO_TEXT_H_

#include "kxbstring.h"

namespace kxb_textio {

// "<what> '<name>': <the system's text for code>", e.g.
// "Cannot open 'a.cfg' for reading: No such file or directory".
KxbString osErrorText(const char* what, const KxbString& name,
                      const char* after, int code);
// The text for running out of memory.
KxbString outOfMemory();

}  // namespace kxb_textio

#endif  // KXB_COMPANIONS_TEXTIO_TEXTIO_TEXT_H_
