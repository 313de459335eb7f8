#pragma once

#include <string>

#include "protocol/aerror.h"

// Copies `text` and its terminating zero into the host's buffer and sets `*size` to the text's
// length; INSUFFICIENT_BUFFER, buffer untouched, when `*size` is less than that length. The
// terminator is not counted: a host sizes its buffer as the reported length plus one.
AERROR CopyOut(const std::string& text, char* buffer, int* size);
