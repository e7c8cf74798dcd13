#include "textio_text.h"

#include "np_fio.h"

namespace kxb_textio {

KxbString osErrorText(const char* what, const KxbString& name,
                      const char* after, int code) {
  char reason[256];
  np_fio_errdesc(code, reason, sizeof reason);
  KxbString copy(name);
  return kxbStringFormat("%s '%S'%s: %s", what, &copy, after, reason);
}

KxbString outOfMemory() { return KxbString("Out of memory.", true); }

}  // namespace kxb_textio
