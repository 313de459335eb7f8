#pragma once

#include <curl/curl.h>

#include <memory>
#include <string>
#include <type_traits>
#include <unordered_map>
#include <utility>

#include "http/curl_rtn.h"
#include "http/easy_handle.h"
#include "http/transfer_state.h"
#include "protocol/records.h"

// One reusable HTTP request over one libcurl easy handle: fill it, run one Perform..., read the
// result, give it back to its pool. For one thread at a time. The handle keeps its connections and
// TLS sessions from request to request.
//
// Transport failures are codes in the result; only running out of memory throws.
class CURLImpl {
 public:
  using Fields = std::unordered_map<std::string, std::string>;

  CURLImpl();
  virtual ~CURLImpl();
  CURLImpl(const CURLImpl&) = delete;
  CURLImpl& operator=(const CURLImpl&) = delete;

  // Takes away everything a request left behind: URL, method, parameters, headers, bodies, sinks,
  // limits, progress, proxy and its credentials. Connections, TLS settings and the connect timeout
  // stay.
  virtual void Clear();

  // A null `write_function` collects headers and body into the result. Otherwise both arguments are
  // a libcurl write function (see CallbackPointer) and its data, and the result has neither.
  virtual _CURLRTN PerformGet(void* write_function, void* write_data);
  virtual _CURLRTN PerformPost(std::string body);  // through the other PerformPost
  // Both pointers are a libcurl read function and its data; `size` is the body's bytes, or -1 for
  // the length of the BufferCursor that `read_data` then is. Without a reader the percent-encoded
  // query string is the body.
  virtual _CURLRTN PerformPost(void* read_function, void* read_data, long long size);
  // What a kept connection did not answer libcurl sends once more, unseen; this body it cannot
  // send again: CURLE_SEND_FAIL_REWIND then.
  _CURLRTN PerformPostOnce(std::string body);
  virtual _CURLRTN PerformHead();

  CURL* GetCURL() const { return easy_.get(); }

  void SetURL(const char* url) { url_ = url; }
  std::string GetURL() const { return url_; }
  // Replaces the method that the Perform... would use.
  void SetRequest(const char* method);
  std::string GetRequest() const { return method_; }
  std::string GetLastRequest() const { return last_method_; }

  // The value of an equal name is replaced.
  template <class T>
  void AddHeader(const char* name, T value);
  Fields GetHeader() const { return headers_; }
  void AddQuery(const char* key, std::string value) { query_[key] = std::move(value); }
  Fields GetQuery() const { return query_; }

  // Takes ownership.
  void SetPost(curl_mime* mime);

  // "key=value" joined by "&"; keys as they are, values percent-encoded when `escape` is true.
  std::string BuildQueryString(bool escape) const;
  // A line "name: value" for each header; null without headers. The caller frees it.
  curl_slist* BuildHeader() const;
  // Percent-encoding by libcurl, slashes included. A stored name, which keeps its slashes, goes
  // through URLEncode.
  std::string Escape(const char* text) const;
  std::string Unescape(const char* text) const;

  std::string GetEffectiveURL() const { return TextInfo(GetCURL(), CURLINFO_EFFECTIVE_URL); }
  std::string GetScheme() const { return TextInfo(GetCURL(), CURLINFO_SCHEME); }
  static std::string ErrorString(CURLcode code) { return curl_easy_strerror(code); }

  void SetSpeedLimit(long long bytes_per_second);  // both directions; 0 is unlimited
  // What moves less than the limit for so long ends with a time-out: 1 byte/s for 20 seconds by
  // default.
  void SetLowSpeedTimeout(long seconds) { easy_.Set(CURLOPT_LOW_SPEED_TIME, seconds); }
  void SetLowSpeedLimit(long bytes_per_second) {
    easy_.Set(CURLOPT_LOW_SPEED_LIMIT, bytes_per_second);
  }
  void SetSendBuffer();  // of 1 MiB, for every new socket
  void SetPostFileSize(long long bytes) { easy_.Set(CURLOPT_INFILESIZE_LARGE, curl_off_t{bytes}); }
  // Whether a compressed answer is asked for and unpacked, as it is by default. Off, an object that
  // was stored with a content encoding arrives byte for byte.
  void SetContentDecoding(bool decode);
  // How libcurl goes back to an earlier byte of the body, to send it again.
  void SetSeek(curl_seek_callback function, void* data);
  // Progress of the transfer goes to the handle's host; a null handle changes nothing.
  void BindHandle(std::shared_ptr<_FS_HANDLE> handle);
  void BindHandleForDownload(std::shared_ptr<_FS_HANDLE> handle);
  void BindProgress(curl_xferinfo_callback function, void* data);

  // `type` as ProtocolUtil::curlProxyType gives it; type 0 or an empty host means no proxy.
  void SetProxy(int type, std::string host, int port, std::string user, std::string password);
  // Verifies servers as http/server_trust.h says; without the directory nothing changes.
  void SetSSLDefaults();

 protected:
  const EasyHandle& easy() const { return easy_; }
  char* error_buffer() { return error_buffer_; }

 private:
  std::string WithQuery(const std::string& query) const;
  void UseMethod(const char* natural);
  void BindProgress(const _FS_HANDLE* handle, curl_xferinfo_callback function);

  EasyHandle easy_;
  curl_mime* mime_ = nullptr;  // owned until Clear
  ProgressBinding progress_;
  Fields query_;
  Fields headers_;
  std::string url_;
  std::string method_;  // empty: the natural method of the Perform...
  std::string last_method_;
  long connect_timeout_ = 10;  // seconds
  char error_buffer_[CURL_ERROR_SIZE] = {};
};

template <class T>
void CURLImpl::AddHeader(const char* name, T value) {
  if constexpr (std::is_integral_v<T>) {
    headers_[name] = std::to_string(value);
  } else {
    headers_[name] = std::move(value);
  }
}
