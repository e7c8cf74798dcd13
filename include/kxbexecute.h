// KxbExecute: running an external program and waiting for it, optionally
// capturing its output into a one-line log.
//
// The program is started either directly (the command and the options form
// the argument vector; a command without "/" is searched in PATH) or through
// the shell ("/bin/sh -c" and one command line built from the command and
// the options). It is started with posix_spawn, never by forking the host.
// Its standard input is /dev/null; it inherits the process's environment
// plus the entries given with addEnvironment, which replace inherited
// entries of the same name; no descriptor of the library or of the host
// beyond the three standard streams reaches it.
//
// The platform calls underneath take these values:
//   flags   0x80  standard input is /dev/null (always set by run);
//           0x20  the NAME=VALUE entries are added to the inherited
//                 environment, overriding what is already there (set when
//                 addEnvironment was called);
//           0x04  standard output and standard error both go to one
//                 temporary file (set when run captures output).
//   wait    in seconds: negative waits until the program ends, 0 only looks,
//           n waits at most n seconds.
//   states  0  the program ended with exit status 0;
//           1  it was still running when the wait ran out; it keeps running
//              and is collected in the background when it ends, so it never
//              stays a zombie;
//           3  it ended with a non-zero status or was killed by a signal;
//              the exit code is the status, or 128 plus the signal number.
// A program that cannot be started (not found, not executable) makes the
// start fail with the system's reason; it does not become a child that exits
// with 127. Through the shell the program started is /bin/sh, so a command
// the shell cannot find is exit status 127 (state 3).
//
// run(useShell, captureOutput, wait) returns true when the program was
// started and either ended with status 0 or was still running when the wait
// ran out; false otherwise. Outputs after run:
//   getOutputLog()    with captureOutput, the first 8,192 bytes of what the
//                     program wrote to standard output and standard error,
//                     as one line: every white-space character (line breaks
//                     and tabs included) is replaced by as many spaces as it
//                     has bytes. Without captured text, the English texts
//                     "Failed to execute command %s. Error: %s",
//                     "Failed to get status of command %s. Error: %s" or
//                     "Command aborted with error: %d" describe a failure;
//                     the program's own output, when there is any, takes
//                     their place. Otherwise the log of the previous run.
//   getErrorMessage() a failure's catalogue message of the set "Event
//                     Plugin": 29 (out of memory), 332 (the output file could
//                     not be made), 377 (the wait failed), 378 (the program
//                     ended abnormally), 380 (it could not be started).
//                     Kept until a later failure replaces it.
//
// Shell command lines: the command is enclosed in double quotes when it
// contains a space and does not already begin with one; each option follows
// after one space, enclosed under the same rule. Nothing else is escaped:
// the shell interprets the line ("$", "`", ";", redirections), so options
// that come from untrusted input belong in the direct form.
//
// The stored command, options and environment are kept across runs. When
// the object's record cannot be allocated, every operation does nothing:
// setters are ignored, getters return a null string and run returns false.
//
// Thread safety: an object is used by one thread at a time; separate objects
// may run programs at the same time (each run has its own temporary file).
#ifndef KXB_INCLUDE_KXBEXECUTE_H_
#define KXB_INCLUDE_KXBEXECUTE_H_

#include "kxbstring.h"

class KxbExecute {
 public:
  KxbExecute();
  ~KxbExecute();
  KxbExecute(const KxbExecute&) = delete;
  KxbExecute& operator=(const KxbExecute&) = delete;

  // The program's path or name (direct form) or the command (shell form).
  void setCommand(const KxbString& command);
  // One more argument, after those already added.
  void addOption(const KxbString& option);
  // One more "NAME=VALUE" environment entry.
  void addEnvironment(const KxbString& entry);

  bool run(bool useShell, bool captureOutput, int wait);

  KxbString getOutputLog();
  KxbString getErrorMessage();
  // The exit code of the last run's program: its status, or 128 plus the
  // signal that ended it; 0 while it runs on; -1 when it did not start or
  // its state could not be had (and for an object without a record).
  int getExitCode();

  struct Record;

 private:
  Record* record_;
};

#endif  // KXB_INCLUDE_KXBEXECUTE_H_
