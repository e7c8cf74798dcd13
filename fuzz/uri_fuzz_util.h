// What every URI fuzz target asks of any URI object: each generic accessor,
// the two string forms and the native path (none may fail, memory does not
// run out), and the data-URI members when it is one.
#ifndef KXB_FUZZ_URI_FUZZ_UTIL_H_
#define KXB_FUZZ_URI_FUZZ_UTIL_H_

#include "fuzz_util.h"
#include "kxburi.h"

namespace kxb_fuzz {

inline void touchGeneric(KxURI* uri) {
  uri->getScheme();
  uri->getHost();
  uri->getPath();
  uri->getQuery();
  uri->getFragment();
  CHECK(!uri->getURIString().isNull());
  CHECK(!uri->getEscapedURIString().isNull());
  KxbString native;
  CHECK(getNativePath(uri, &native));
  if (KxDataURI* data = uri->asDataURI()) {
    data->getDataSource();
    data->getSourceType();
    data->getPart1();
    data->getPart2();
    data->getPart3();
    data->getObjectName();
    data->getServer();
  }
}

}  // namespace kxb_fuzz

#endif  // KXB_FUZZ_URI_FUZZ_UTIL_H_
