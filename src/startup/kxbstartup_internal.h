// What the steps of one start-up share, and the pieces its units provide.
#ifndef KXB_SRC_STARTUP_KXBSTARTUP_INTERNAL_H_
#define KXB_SRC_STARTUP_KXBSTARTUP_INTERNAL_H_

#include "kxbconfigoptions.h"
#include "kxbstring.h"
#include "kxlog.h"
#include "startup/kxbglobals.h"

// Names of the option sets the queueing functions fill.
constexpr const char kQueuedFilesSet[] = ".@=Files=@.";
constexpr const char kFileCountKey[] = "FileCount";
constexpr const char kQueuedOptionsSet[] = ".@=CommandArgs=@.";
// The source unit of start-up's log records.
constexpr const char kStartupUnit[] = "kxbstartup";

struct KxbStartupRun {
  bool hosted = false;
  KxbConfigOptions* options = nullptr;  // the effective set
  kxLogger* log = nullptr;              // "KX.Base"
  char* error = nullptr;                // the 2,048-byte start-up buffer
  KxbString home;
  KxbString configDirectory;
  KxbString userDirectory;  // empty when there is none
  KxbString exeDirectory;

  // The value of `key`, macros expanded; false (value null) when the set
  // has no such key.
  bool get(const char* key, KxbString* value) const;
  // True when the set has `key`.
  bool has(const char* key) const;
  // Sets `key` as start-up step `step` derives it. The origin is recorded
  // when the key was absent or its value changes.
  void derive(const char* key, const KxbString& value, int step,
              const char* what) const;
  // Writes the failure text into the error buffer.
  void setError(const char* format, ...) const
      __attribute__((format(printf, 2, 3)));
};

// The queued files' set holds "FileCount" and one "FilePrefix_0001"... key
// per file. The count it holds (0 when absent or not a number), and the key
// of file `number` (1-based).
int kxbQueuedFileCount(KxbConfigOptions* files);
KxbString kxbQueuedFileKey(int number);

// Steps 6 to 11: the provisional plug-in path and every source, in order.
void kxbStartupReadSources(const KxbStartupRun& run);
// Steps 12 to 30. False on a failure, with its text in run.error.
bool kxbStartupDerive(const KxbStartupRun& run);
// The "Effective options:" dump at level 3, secrets masked.
void kxbStartupDumpOptions(const KxbStartupRun& run);
// `value` as the dump prints it for `key`.
KxbString kxbStartupMaskValue(const KxbString& key, const KxbString& value);

// The 2,048-byte buffer start-up failures are written into, shared with the
// dependency library loader.
char* kxbStartupErrorBuffer();
// Writes `text` into the start-up error buffer, points *errorMessage (when
// given) at it and returns `result`: how a queueing function fails.
int kxbStartupFail(const char** errorMessage, int result, const char* text);

// Start-up took a count on the message catalogue that shutdown drops.
bool kxbStartupHoldsCatalogue();
void kxbStartupSetHoldsCatalogue(bool holds);

#endif  // KXB_SRC_STARTUP_KXBSTARTUP_INTERNAL_H_
