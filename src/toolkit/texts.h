#pragma once

#include <string>

// The fixed texts of request signing. Each source that includes this header has a copy of its own,
// initialised when the module loads: code that runs earlier than another source's copy cannot find
// it empty.

const std::string kSigningAlgorithm = "AWS4-HMAC-SHA256";
const std::string kSigningKeyPrefix = "AWS4";
const std::string kSigningScopeEnd = "aws4_request";
