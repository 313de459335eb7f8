#include "protocol/log.h"

namespace {

thread_local ILog* thread_relay = nullptr;

}  // namespace

void RelayLog(ILog* relay) { thread_relay = relay; }

void __LOG__A(ILog* log, LOGLEVEL level, const char* format, ...) {
  if (log == nullptr) return;
  if (thread_relay != nullptr) log = thread_relay;
  std::va_list arguments;
  va_start(arguments, format);
  log->Log(level, format, arguments);
  va_end(arguments);
}
