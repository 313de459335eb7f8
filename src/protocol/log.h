#pragma once

#include "export.h"
#include "host_interfaces.h"

// The host's logger; null silences logging. Written by BindLogger and UnbindLogger only.
extern B2_EXPORT ILog* logger;

// From now on the calling thread's lines go to `relay` in place of the host's logger; null: to that
// again. For threads that the module starts: a host knows its own threads' lines by the thread.
void RelayLog(ILog* relay);

// Writes one line through `log`; does nothing when it is null.
void __LOG__A(ILog* log, LOGLEVEL level, const char* format, ...)
    __attribute__((format(printf, 3, 4)));
