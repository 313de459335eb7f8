#include "plugin/module_globals.h"

#include "b2/request_pool.h"
#include "http/curl_handles.h"
#include "protocol/log.h"
#include "toolkit/texts.h"  // this module's second copy, ready before the pool

const char* protocol_version = "1.0.0";
IAsyncQ* aq = nullptr;
ILog* logger = nullptr;

namespace {

const CurlGlobal curl_global;  // before the pool, so that it outlives the pool's handles

}  // namespace

CURLQueue<BackBlazeB2CURL> cq;
