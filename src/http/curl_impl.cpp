#include "http/curl_impl.h"

#include <new>

#include "http/curl_transfer.h"
#include "http/server_trust.h"
#include "http/transfer_callbacks.h"

namespace {

constexpr long kLowSpeed = 1;  // bytes per second
constexpr long kLowSpeedSeconds = 20;

// Not the reader that bodies in memory have: those libcurl is shown whole.
std::size_t ReadOnce(char* data, std::size_t size, std::size_t count, BufferCursor* cursor) {
  return read_callback_buf_func(data, size, count, cursor);
}

}  // namespace

CURLImpl::CURLImpl() {
  easy_.Set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  easy_.Set(CURLOPT_CONNECTTIMEOUT, connect_timeout_);
  SetLowSpeedLimit(kLowSpeed);
  SetLowSpeedTimeout(kLowSpeedSeconds);
  easy_.Set(CURLOPT_NOSIGNAL, 1L);
  easy_.Set(CURLOPT_FOLLOWLOCATION, 1L);
  easy_.Set(CURLOPT_MAXREDIRS, 32L);
  SetContentDecoding(true);
  easy_.Set(CURLOPT_USERAGENT, "Tervanix(gzip)");
  easy_.Set(CURLOPT_SSL_VERIFYPEER, 0L);
  easy_.Set(CURLOPT_SSL_VERIFYHOST, 0L);
  easy_.Set(CURLOPT_NOPROGRESS, 1L);
}

CURLImpl::~CURLImpl() = default;

void CURLImpl::Clear() {
  progress_ = {};
  SetPost(nullptr);
  url_.clear();
  method_.clear();
  last_method_.clear();

  easy_.Set(CURLOPT_HEADER, 0L);
  for (const CURLoption option :
       {CURLOPT_CUSTOMREQUEST, CURLOPT_WRITEDATA, CURLOPT_WRITEFUNCTION, CURLOPT_READFUNCTION,
        CURLOPT_READDATA, CURLOPT_POSTFIELDS, CURLOPT_SEEKFUNCTION, CURLOPT_SEEKDATA,
        CURLOPT_XFERINFOFUNCTION, CURLOPT_XFERINFODATA, CURLOPT_PROXY, CURLOPT_PROXYUSERPWD,
        CURLOPT_MIMEPOST}) {
    easy_.Set(option, static_cast<void*>(nullptr));
  }
  easy_.Set(CURLOPT_POSTFIELDSIZE_LARGE, curl_off_t{0});
  SetPostFileSize(0);
  SetSpeedLimit(0);
  easy_.Set(CURLOPT_PROXYPORT, 0L);
  easy_.Set(CURLOPT_NOPROGRESS, 1L);
  SetLowSpeedLimit(kLowSpeed);
  SetLowSpeedTimeout(kLowSpeedSeconds);
  SetContentDecoding(true);

  query_.clear();
  headers_.clear();
}

_CURLRTN CURLImpl::PerformGet(void* write_function, void* write_data) {
  if (!easy_) return NotStarted();
  CurlTransfer transfer(easy_, WithQuery(BuildQueryString(true)), HeaderList(BuildHeader()));
  UseMethod("GET");
  easy_.Set(CURLOPT_HTTPGET, 1L);
  if (write_function == nullptr) {
    transfer.Collect();
  } else {
    transfer.DeliverTo(write_function, write_data);
  }
  return transfer.Run(error_buffer_);
}

_CURLRTN CURLImpl::PerformPost(std::string body) {
  BufferCursor cursor{body.data(), 0, static_cast<long long>(body.size())};
  return PerformPost(CallbackPointer(&read_callback_buf_func), &cursor, -1);
}

_CURLRTN CURLImpl::PerformPost(void* read_function, void* read_data, long long size) {
  if (!easy_) return NotStarted();
  const std::string query = BuildQueryString(true);
  CurlTransfer transfer(easy_, read_function != nullptr ? WithQuery(query) : url_,
                        HeaderList(BuildHeader()));
  UseMethod("POST");
  easy_.Set(CURLOPT_POST, 1L);
  transfer.Collect();
  transfer.Send({read_function, read_data, size, query, mime_});
  return transfer.Run(error_buffer_);
}

_CURLRTN CURLImpl::PerformPostOnce(std::string body) {
  BufferCursor cursor{body.data(), 0, static_cast<long long>(body.size())};
  return PerformPost(CallbackPointer(&ReadOnce), &cursor, cursor.length);
}

_CURLRTN CURLImpl::PerformHead() {
  if (!easy_) return NotStarted();
  CurlTransfer transfer(easy_, WithQuery(BuildQueryString(true)), HeaderList(BuildHeader()));
  last_method_ = "HEAD";
  easy_.Set(CURLOPT_CUSTOMREQUEST, "HEAD");
  easy_.Set(CURLOPT_HTTPGET, 1L);
  easy_.Set(CURLOPT_NOBODY, 1L);
  transfer.Collect();
  return transfer.Run(error_buffer_);
}

void CURLImpl::SetRequest(const char* method) {
  method_ = method;
  last_method_ = method;
}

void CURLImpl::SetPost(curl_mime* mime) {
  curl_mime_free(mime_);
  mime_ = mime;
}

std::string CURLImpl::BuildQueryString(bool escape) const {
  std::string text;
  for (const auto& [key, value] : query_) {
    if (!text.empty()) text += '&';
    text += key;
    text += '=';
    text += escape ? Escape(value.c_str()) : value;
  }
  return text;
}

curl_slist* CURLImpl::BuildHeader() const {
  HeaderList list;
  std::string line;
  for (const auto& [name, value] : headers_) {
    line.assign(name).append(": ").append(value);
    curl_slist* grown = curl_slist_append(list.get(), line.c_str());
    if (grown == nullptr) throw std::bad_alloc();
    static_cast<void>(list.release());  // the grown list has taken it over
    list.reset(grown);
  }
  return list.release();
}

std::string CURLImpl::Escape(const char* text) const {
  const CurlText escaped(curl_easy_escape(GetCURL(), text, 0));
  return escaped ? escaped.get() : "";
}

std::string CURLImpl::Unescape(const char* text) const {
  int length = 0;
  const CurlText plain(curl_easy_unescape(GetCURL(), text, 0, &length));
  return plain ? plain.get() : "";
}

std::string CURLImpl::WithQuery(const std::string& query) const {
  if (query.empty()) return url_;
  return url_ + (url_.find('?') == std::string::npos ? "?" : "&") + query;
}

void CURLImpl::UseMethod(const char* natural) {
  if (method_.empty()) {
    last_method_ = natural;
  } else {
    easy_.Set(CURLOPT_CUSTOMREQUEST, method_.c_str());
  }
}

void CURLImpl::SetSpeedLimit(long long bytes_per_second) {
  easy_.Set(CURLOPT_MAX_SEND_SPEED_LARGE, curl_off_t{bytes_per_second});
  easy_.Set(CURLOPT_MAX_RECV_SPEED_LARGE, curl_off_t{bytes_per_second});
}

void CURLImpl::SetSendBuffer() { easy_.Set(CURLOPT_SOCKOPTFUNCTION, &_sockopt_callback); }

void CURLImpl::SetContentDecoding(bool decode) {
  // The empty text asks for every encoding that this libcurl can unpack.
  easy_.Set(CURLOPT_ACCEPT_ENCODING, decode ? "" : nullptr);
}

void CURLImpl::SetSeek(curl_seek_callback function, void* data) {
  easy_.Set(CURLOPT_SEEKFUNCTION, function);
  easy_.Set(CURLOPT_SEEKDATA, data);
}

void CURLImpl::BindHandle(std::shared_ptr<_FS_HANDLE> handle) {
  BindProgress(handle.get(), reinterpret_cast<curl_xferinfo_callback>(&_CURL_PROGRESS));
}

void CURLImpl::BindHandleForDownload(std::shared_ptr<_FS_HANDLE> handle) {
  BindProgress(handle.get(), reinterpret_cast<curl_xferinfo_callback>(&_CURL_PROGRESS_DOWNLOAD));
}

void CURLImpl::BindProgress(const _FS_HANDLE* handle, curl_xferinfo_callback function) {
  if (handle == nullptr) return;
  progress_ = {handle->progress, handle->progress_context, GetCURL()};
  BindProgress(function, &progress_);
}

void CURLImpl::BindProgress(curl_xferinfo_callback function, void* data) {
  easy_.Set(CURLOPT_XFERINFOFUNCTION, function);
  easy_.Set(CURLOPT_XFERINFODATA, data);
  easy_.Set(CURLOPT_NOPROGRESS, 0L);
}

void CURLImpl::SetProxy(int type, std::string host, int port, std::string user,
                        std::string password) {
  if (type == 0 || host.empty()) {
    easy_.Set(CURLOPT_PROXY, static_cast<const char*>(nullptr));
    return;
  }
  easy_.Set(CURLOPT_PROXY, host.c_str());
  if (type == 1) easy_.Set(CURLOPT_PROXYTYPE, static_cast<long>(CURLPROXY_SOCKS4));
  if (type == 2) easy_.Set(CURLOPT_PROXYTYPE, static_cast<long>(CURLPROXY_SOCKS5));
  if (type == 3 || type == 4) {
    easy_.Set(CURLOPT_HTTPPROXYTUNNEL, type == 3 ? 1L : 0L);
    easy_.Set(CURLOPT_PROXYTYPE, static_cast<long>(CURLPROXY_HTTP));
    easy_.Set(CURLOPT_PROXYAUTH, CURLAUTH_ANY);
  }
  if (port > 0) easy_.Set(CURLOPT_PROXYPORT, static_cast<long>(port));
  if (!user.empty()) {
    if (!password.empty()) user += ":" + password;
    easy_.Set(CURLOPT_PROXYUSERPWD, user.c_str());
  }
}

void CURLImpl::SetSSLDefaults() {
  if (!VerifiesServers()) return;
  easy_.Set(CURLOPT_SSL_VERIFYPEER, 1L);
  easy_.Set(CURLOPT_SSL_VERIFYHOST, 2L);
  TrustDirectory(easy_);
}
