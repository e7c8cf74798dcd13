// kxb: the base-services library. Including this header gives every public
// class family; see each header for its contract.
#ifndef KXB_INCLUDE_KXB_H_
#define KXB_INCLUDE_KXB_H_

#include "kxbmempool.h"
#include "kxbmessage.h"
#include "kxbprofiler.h"
#include "kxbstartup.h"
#include "kxbstring.h"

#endif  // KXB_INCLUDE_KXB_H_
