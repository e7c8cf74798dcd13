// Logging for host programs: records on the library's named loggers.
//
// The library writes its own records to dotted loggers ("KX.Base",
// "KX.Base.Template"); a host writes its own progress the same way, so that
// one logging configuration (the file that BASE/LOGCONFIG_PATH names, read
// at start-up) decides where every record goes and which levels it keeps.
// Levels: 1 trace, 2 progress, 3 notable, 4 recoverable failure, 5 error; a
// record is written when its level is at least its logger's level.
//
//   kxbLog("MyApp.Load", 2, "load", __LINE__, "Read %d rows", rows);
//
// The format uses the library's format language, as kxbStringFormat does:
// "%d", "%lu", "%lld", "%llu", "%g", "%s" (UTF-8 text), "%S" (a pointer to a
// KxbString) and "%%"; nothing else converts. Thread-safe; before
// kxbInitialize and after the last kxbShutdown records go nowhere.
#ifndef KXB_INCLUDE_KXBLOG_H_
#define KXB_INCLUDE_KXBLOG_H_

#include <stdarg.h>

#ifdef __cplusplus
extern "C" {
#endif

// Writes one record on the logger `logger` (null or "" for the root), with
// `unit` and `line` naming where it comes from. Never fails loudly: a
// destination that cannot be written loses the record.
void kxbLog(const char* logger, int level, const char* unit, int line,
            const char* format, ...);
void kxbLogV(const char* logger, int level, const char* unit, int line,
             const char* format, va_list args);
// Non-zero when a record of `level` on `logger` would be written.
int kxbLogEnabled(const char* logger, int level);

#ifdef __cplusplus
}
#endif

#endif  // KXB_INCLUDE_KXBLOG_H_
