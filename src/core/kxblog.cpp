// Host logging: the public face of the logging library's named loggers.
#include "kxblog.h"

#include "kxlog.h"

extern "C" void kxbLogV(const char* logger, int level, const char* unit,
                        int line, const char* format, va_list args) {
  kxlogVWrite(kxlogGetLogger(logger), level, unit, line, format, args);
}

extern "C" void kxbLog(const char* logger, int level, const char* unit,
                       int line, const char* format, ...) {
  va_list args;
  va_start(args, format);
  kxbLogV(logger, level, unit, line, format, args);
  va_end(args);
}

extern "C" int kxbLogEnabled(const char* logger, int level) {
  return kxlogIsEnabled(kxlogGetLogger(logger), level);
}
