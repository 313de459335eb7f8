#pragma once

#include "http/curl_impl.h"

// The request object of every service call: verifies its servers and speaks nothing but HTTPS, also
// where the service or a redirect names another scheme, so that no token goes out in clear and no
// URL opens a file.
class BackBlazeB2CURL : public CURLImpl {
 public:
  BackBlazeB2CURL() {
    easy().Set(CURLOPT_PROTOCOLS_STR, "https");
    easy().Set(CURLOPT_REDIR_PROTOCOLS_STR, "https");
    SetSSLDefaults();
  }
};
