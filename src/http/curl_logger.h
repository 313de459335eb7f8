#pragma once

#include "http/curl_impl.h"

// libcurl's debug callback: its own text and the header lines of both directions go to the host's
// log. ">>" marks what came in, "<<" what went out. Bodies, TLS data and password commands do not.
int CURLDebug(CURL* easy, curl_infotype type, char* data, std::size_t size, void* context);

// A request that traces its transfers when the host's log asks for it and writes one line about the
// speed of each. For other protocols' use: service calls of this one do not go through it.
class CURLLogger : public CURLImpl {
 public:
  CURLLogger();

  _CURLRTN PerformGet(void* write_function, void* write_data) override;
  _CURLRTN PerformPost(std::string body) override;
  _CURLRTN PerformPost(void* read_function, void* read_data, long long size) override;

  // Switches tracing as the host's log wants it now.
  void InstallLogger();
  // The latest transfer's URL with its query, unescaped.
  std::string GetLastURL() const { return last_url_; }

 private:
  void Prepare();
  void LogPost(const _CURLRTN& result, long long sent) const;

  std::string last_url_;
};
