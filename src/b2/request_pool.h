#pragma once

#include "http/backblaze_b2_curl.h"
#include "http/curl_queue.h"
#include "protocol/export.h"

// The module's one pool of request objects, shared by all its protocol objects; it carries the
// proxy settings.
extern B2_EXPORT CURLQueue<BackBlazeB2CURL> cq;
