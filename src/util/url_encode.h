#pragma once

#include <string>

#include "protocol/export.h"

// Percent-encodes every byte of the zero-terminated `text` but letters, digits and -._~ (with
// upper-case hexadecimal digits); "/" stays as it is unless `encode_slash`. Null gives an empty
// text.
B2_EXPORT std::string URLEncode(const char* text, bool encode_slash);
