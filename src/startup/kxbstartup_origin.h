// The record of where each option of the effective set came from, written
// by start-up (under the global mutex) and read through
// kxbStartupGetOptionOrigin from any thread.
#ifndef KXB_SRC_STARTUP_KXBSTARTUP_ORIGIN_H_
#define KXB_SRC_STARTUP_KXBSTARTUP_ORIGIN_H_

#include <vector>

#include "kxbconfigfile.h"
#include "kxbstring.h"
#include "startup/kxbconfigfile_data.h"

// Remembers that `key` was set to `value` by a source of `kind`
// (KXB_ORIGIN_*), with its path or description and line or step.
// Running out of memory loses the record, nothing else.
void kxbOriginRecord(const KxbString& key, const KxbString& value, int kind,
                     const KxbString& source, int line);
// Records every entry of `file`, whose model lines were read from the files
// of `spans`: each entry gets the file holding its line and its line there.
void kxbOriginRecordFile(KxbConfigFile& file,
                         const std::vector<KxbConfigFileSpan>& spans, int kind);
// Forgets every record (shutdown, before the memory pool goes).
void kxbOriginForget();

#endif  // KXB_SRC_STARTUP_KXBSTARTUP_ORIGIN_H_
