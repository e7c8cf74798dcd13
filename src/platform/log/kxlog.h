// Logging: named loggers with numeric levels, written through spdlog sinks.
//
// Loggers are named by dotted names ("KX.Base", "KX.Base.Template"). A
// logger's level is its own when one was set (kxlogSetLevel or the
// configuration file), else that of its nearest configured ancestor ("KX.Base"
// for "KX.Base.Template", then "KX", then the root), else the root's.
// Levels: 1 trace, 2 progress, 3 notable, 4 recoverable failure, 5 error. A
// record is written when its level is at least the logger's level.
//
// Loggers live for the whole process: the pointer kxlogGetLogger returns stays
// valid after kxlogTerminate, so static objects may keep it. Before
// kxlogInitialize and after kxlogTerminate records go to no sink (only to a
// test capture, when installed). All functions are thread-safe.
//
// Configuration file (kxlogConfigure), one setting per line, "#" comments and
// blank lines ignored, blanks around "=" and values trimmed:
//   level = N                      root level (1..5)
//   level.<logger name> = N        level of that logger and its descendants
//   destination = stderr | stdout | file:<path>
//   pattern = <spdlog pattern>     line layout (default
//                                  "%Y-%m-%d %H:%M:%S.%e [%n] %k %@ %v")
// Keys are case-sensitive. A file describes the whole configuration: what it
// does not set takes the default (root level 3, standard error, the default
// pattern, no logger levels). A file destination is opened for appending
// (relative paths against the current directory, missing parent directories
// created). In a pattern, "%n" is the logger name ("root" for the root), "%k"
// this library's level word (trace, progress, notable, recoverable, error),
// "%@" the unit and line, "%v" the text; the other spdlog flags work as
// usual. An unknown key, a bad level, a bad destination or a line without "="
// makes the whole file fail: nothing is changed and kxlogLastError() names
// the file and the line.
#ifndef KXB_PLATFORM_KXLOG_H_
#define KXB_PLATFORM_KXLOG_H_

#include <stdarg.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct kxLogger kxLogger;

#define KXLOG_TRACE 1
#define KXLOG_PROGRESS 2
#define KXLOG_NOTABLE 3
#define KXLOG_RECOVERABLE 4
#define KXLOG_ERROR 5

// Counted: each successful call must be matched by kxlogTerminate. The first
// (and the first after the count went back to zero) installs the default
// configuration, as kxlogConfigure(null). 0 on success; non-zero, count
// unchanged, when the default destination cannot be set up. The last
// kxlogTerminate flushes and closes the destination; extra calls are ignored.
int kxlogInitialize(void);
void kxlogTerminate(void);

// The logger of that name, created on first use. Never null: a null or empty
// name gives the root logger, and so does running out of memory.
kxLogger* kxlogGetLogger(const char* name);
// "" for the root. In this and the functions below a null logger is the root.
const char* kxlogGetName(const kxLogger* logger);
// The effective level (own, inherited, or the root's). Two atomic loads in
// the common case: the level is cached per logger until any level changes.
int kxlogGetLevel(const kxLogger* logger);
// Sets the logger's own level (1..5); 0 removes it, so it inherits again
// (for the root: back to 3). Other values are ignored.
void kxlogSetLevel(kxLogger* logger, int level);
// Non-zero when a record of `level` would be written.
int kxlogIsEnabled(const kxLogger* logger, int level);

// Writes one record: `format` and the arguments use the library's format
// language (kxs_format.h); `unit` is the source unit, `line` its line. Levels
// outside 1..5 are taken as the nearest of them. Texts beyond 64 KiB are cut.
// A record is flushed to its destination before the call returns; a
// destination that fails loses the record silently.
void kxlogWrite(kxLogger* logger, int level, const char* unit, int line,
                const char* format, ...);
void kxlogVWrite(kxLogger* logger, int level, const char* unit, int line,
                 const char* format, va_list args);

// path null: the default (root level 3, standard error, default pattern, all
// logger levels removed). Otherwise reads the file described above. Works
// whether or not logging is initialised; records reach the destination only
// while it is. 0 on success; non-zero on failure with kxlogLastError() set
// and the configuration in force untouched.
int kxlogConfigure(const char* path);
// The reason why this thread's last kxlogConfigure failed; "" when it
// succeeded or none was made. Thread-local; valid until the next call.
const char* kxlogLastError(void);

// Test hook: every record that passes its logger's level is also handed to
// `capture` (null removes it), with the logger name, level, unit, line and
// the formatted text ("" as the logger name for the root). The capture runs
// on the logging thread under a shared lock: it must neither log nor call
// kxlogSetCapture. kxlogSetCapture returns once no call of the capture it
// replaces is running, so the old context may then be destroyed.
typedef void (*kxlogCaptureFn)(void* context, const char* logger, int level,
                               const char* unit, int line, const char* text);
void kxlogSetCapture(kxlogCaptureFn capture, void* context);

#ifdef __cplusplus
}
#endif

#endif  // KXB_PLATFORM_KXLOG_H_
