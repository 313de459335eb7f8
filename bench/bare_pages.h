#pragma once

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

// What listings and lookups do with an answer beside finding a cursor: nothing in bare_curl, one
// parse of the whole text in bare_curl_json.
void UsePage(const char* text, size_t length);

#ifdef __cplusplus
}
#endif
