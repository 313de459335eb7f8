#pragma once

#include <string>

#include "protocol/export.h"

// Large bodies in a form for logs: a zlib stream as upper-case hexadecimal text, without the four
// characters of the stream's header. Both functions return an empty text on failure and may be
// called from any thread.

// `level` is zlib's: -1 (its default), 0 (store) to 9 (smallest).
B2_EXPORT std::string compress_string(const char* data, unsigned long length, int level);

// The bytes that compress_string was given at any level. Fails for a text that is no such form or
// whose data ends early or is damaged. Memory grows with the bytes that come out, which can be a
// thousand times the text: not for texts of strangers.
B2_EXPORT std::string decompress_string(const std::string& hex);
