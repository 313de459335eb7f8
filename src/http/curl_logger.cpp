#include "http/curl_logger.h"

#include <string_view>

#include "protocol/log.h"

int CURLDebug(CURL*, curl_infotype type, char* data, std::size_t size, void*) {
  const std::string text(data, size);
  const bool closing_line = text.starts_with('\r');
  if (type == CURLINFO_TEXT) {
    __LOG__A(logger, LOGLEVEL_INFO, "[NETWORK   ] [INFORMATION] %s", text.c_str());
  } else if (type == CURLINFO_HEADER_IN && !closing_line) {
    __LOG__A(logger, LOGLEVEL_TRACE, "[NETWORK   ] [HEADER   >>] %s", text.c_str());
  } else if (type == CURLINFO_HEADER_OUT && !closing_line && !text.starts_with("PASS ")) {
    __LOG__A(logger, LOGLEVEL_TRACE, "[NETWORK   ] [HEADER   <<] %s", text.c_str());
  }
  return 0;
}

CURLLogger::CURLLogger() { easy().Set(CURLOPT_ERRORBUFFER, error_buffer()); }

void CURLLogger::InstallLogger() {
  ILog* const log = logger;
  const bool traced = log != nullptr && log->IsNetworkTraceEnabled();
  easy().Set(CURLOPT_VERBOSE, traced ? 1L : 0L);
  easy().Set(CURLOPT_DEBUGFUNCTION, traced ? &CURLDebug : nullptr);
}

void CURLLogger::Prepare() {
  std::string url = GetURL();
  const std::string query = BuildQueryString(false);
  if (!query.empty()) url += (url.find('?') == std::string::npos ? "?" : "&") + query;
  last_url_ = Unescape(url.c_str());
  InstallLogger();
}

_CURLRTN CURLLogger::PerformGet(void* write_function, void* write_data) {
  Prepare();
  _CURLRTN result = CURLImpl::PerformGet(write_function, write_data);
  __LOG__A(logger, LOGLEVEL_TRACE, "[PERF      ] Download %db/s : %s(%d bytes)",
           static_cast<int>(result.downloadSpeed), last_url_.c_str(), result.bodyLength);
  return result;
}

_CURLRTN CURLLogger::PerformPost(std::string body) {
  const auto sent = static_cast<long long>(body.size());
  Prepare();
  _CURLRTN result = CURLImpl::PerformPost(std::move(body));
  LogPost(result, sent);
  return result;
}

_CURLRTN CURLLogger::PerformPost(void* read_function, void* read_data, long long size) {
  Prepare();
  _CURLRTN result = CURLImpl::PerformPost(read_function, read_data, size);
  LogPost(result, size);
  return result;
}

void CURLLogger::LogPost(const _CURLRTN& result, long long sent) const {
  __LOG__A(logger, LOGLEVEL_TRACE, "[PERF      ] Upload %db/s / Download %db/s : %s(%d / %d bytes)",
           static_cast<int>(result.uploadSpeed), static_cast<int>(result.downloadSpeed),
           last_url_.c_str(), static_cast<int>(sent), result.bodyLength);
}
