#include "protocol/log.h"

void __LOG__A(ILog* log, LOGLEVEL level, const char* format, ...) {
  if (log == nullptr) return;
  std::va_list arguments;
  va_start(arguments, format);
  log->Log(level, format, arguments);
  va_end(arguments);
}
