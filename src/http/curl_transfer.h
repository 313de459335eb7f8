#pragma once

#include <string>

#include "http/curl_handles.h"
#include "http/curl_rtn.h"
#include "http/easy_handle.h"

// What a POST sends: the mime body if there is one, else what the reader gives, else the query.
struct RequestBody {
  void* read_function;  // a libcurl read function and its data; null: none
  void* read_data;
  // Bytes, or -1: those of the BufferCursor that `read_data` then is, or of the query.
  long long size;
  const std::string& query;  // percent-encoded
  curl_mime* mime;           // null: none
};

// One transfer of an easy handle. Holds what libcurl borrows meanwhile, the header list and the
// buffer for the answer; the options that name them stay behind on the handle.
class CurlTransfer {
 public:
  CurlTransfer(const EasyHandle& easy, const std::string& url, HeaderList headers);

  // Headers and body go into the result.
  void Collect();
  // The body goes to a libcurl write function, and the result has neither.
  void DeliverTo(void* write_function, void* write_data);
  // Everything in `body` is borrowed until Run is back.
  void Send(const RequestBody& body);

  // `error_text`: CURL_ERROR_SIZE characters, cleared first; libcurl writes there if the handle
  // has them for its error buffer.
  _CURLRTN Run(char* error_text);

 private:
  void ReadAnswer(_CURLRTN& result) const;

  const EasyHandle& easy_;
  const HeaderList headers_;
  CaptureBuffer collected_;
};
