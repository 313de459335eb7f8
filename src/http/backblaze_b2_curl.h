#pragma once

#include "http/curl_impl.h"

// The request object of every service call: verifies its servers.
class BackBlazeB2CURL : public CURLImpl {
 public:
  BackBlazeB2CURL() { SetSSLDefaults(); }
};
