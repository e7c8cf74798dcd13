// kxb: the base-services library. Including this header gives every public
// class family; see each header for its contract.
#ifndef KXB_INCLUDE_KXB_H_
#define KXB_INCLUDE_KXB_H_

#include "kxbblob.h"
#include "kxbconfigfile.h"
#include "kxbconfigoptions.h"
#include "kxbcursor.h"
#include "kxbcursorwlp.h"
#include "kxbdatauri.h"
#include "kxbdatavar.h"
#include "kxbdate.h"
#include "kxbemail.h"
#include "kxbexecute.h"
#include "kxbhadoopuri.h"
#include "kxblog.h"
#include "kxbmempool.h"
#include "kxbmessage.h"
#include "kxbparse.h"
#include "kxbpath.h"
#include "kxbprofiler.h"
#include "kxbreal.h"
#include "kxbreposuri.h"
#include "kxbsingleton.h"
#include "kxbstartup.h"
#include "kxbstring.h"
#include "kxbtemplate.h"
#include "kxbthreadpool.h"
#include "kxbtxtfile.h"
#include "kxburi.h"
#include "kxburibase.h"
#include "kxburiquery.h"
#include "kxbwturi.h"

#endif  // KXB_INCLUDE_KXB_H_
