#pragma once

#include <curl/curl.h>
#include <event2/buffer.h>

#include <memory>

#include "util/free_with.h"

// Owning aliases for what libcurl and libevent hand out.

using HeaderList = std::unique_ptr<curl_slist, util::FreeWith<curl_slist_free_all>>;
using CurlText = std::unique_ptr<char, util::FreeWith<curl_free>>;
using CaptureBuffer = std::unique_ptr<evbuffer, util::FreeWith<evbuffer_free>>;

// libcurl's process-wide state. Made before the first easy handle and destroyed after the last, so
// that unloading the module gives back what libcurl and its TLS library hold.
class CurlGlobal {
 public:
  CurlGlobal() { curl_global_init(CURL_GLOBAL_DEFAULT); }
  ~CurlGlobal() { curl_global_cleanup(); }
  CurlGlobal(const CurlGlobal&) = delete;
  CurlGlobal& operator=(const CurlGlobal&) = delete;
};
