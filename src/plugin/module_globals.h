#pragma once

#include "protocol/export.h"
#include "protocol/host_interfaces.h"

// The module's exported data, besides `logger` (protocol/log.h), `ext_dict` (util/mime_types.h) and
// `cq` (b2/request_pool.h). One instance per loaded module.
extern "C" {

extern B2_EXPORT const char* protocol_version;
extern B2_EXPORT IAsyncQ* aq;  // the host's queue; stored for it and never used
}
