#pragma once

#include <curl/curl.h>

#include <memory>
#include <string>

class CURLImpl;

// The result of one HTTP exchange. An HTTP status of 400 or more is a value here, not a failure:
// whoever made the call judges it. With a transport failure (`code` not 0) everything but `code`
// and `errorText` is zero or empty.
struct _CURLRTN {
  int code = 0;                // CURLcode
  std::string errorText;       // libcurl's own message, from requests that ask for it
  long long httpCode = 0;      // HTTP status
  std::shared_ptr<char> body;  // `bodyLength` bytes, not terminated; null when there are none
  int bodyLength = 0;          // bytes
  std::shared_ptr<char> headerBlock;  // the raw header block of every answer, zero-terminated
  long headerSize = 0;                // bytes, without the terminating zero
  double uploadSpeed = 0;             // bytes per second
  double downloadSpeed = 0;           // bytes per second
  std::shared_ptr<CURLImpl> curl;     // the request object, set by the engine
};

// The result of an exchange that did not begin, for the reason `code`.
inline _CURLRTN NotStarted(CURLcode code = CURLE_FAILED_INIT) {
  _CURLRTN result;
  result.code = code;
  return result;
}
