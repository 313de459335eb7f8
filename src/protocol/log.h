#pragma once

#include "export.h"
#include "host_interfaces.h"

// The host's logger; null silences logging. Written by BindLogger and UnbindLogger only.
extern B2_EXPORT ILog* logger;

// Writes one line through `log`; does nothing when it is null.
void __LOG__A(ILog* log, LOGLEVEL level, const char* format, ...)
    __attribute__((format(printf, 3, 4)));
