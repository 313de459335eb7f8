#include "http/curl_impl.h"

#include <cstring>

#include "http/transfer_callbacks.h"

namespace {

constexpr long kLowSpeed = 1;  // bytes per second
constexpr long kLowSpeedSeconds = 20;

const char* OrEmpty(const char* text) { return text == nullptr ? "" : text; }

}  // namespace

CURLImpl::CURLImpl() : curl_(curl_easy_init(), curl_easy_cleanup) {
  Set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  Set(CURLOPT_CONNECTTIMEOUT, connect_timeout_);
  Set(CURLOPT_LOW_SPEED_LIMIT, kLowSpeed);
  Set(CURLOPT_LOW_SPEED_TIME, kLowSpeedSeconds);
  Set(CURLOPT_NOSIGNAL, 1L);
  Set(CURLOPT_FOLLOWLOCATION, 1L);
  Set(CURLOPT_MAXREDIRS, 32L);
  SetContentDecoding(true);
  Set(CURLOPT_USERAGENT, "Tervanix(gzip)");
  Set(CURLOPT_SSL_VERIFYPEER, 0L);
  Set(CURLOPT_SSL_VERIFYHOST, 0L);
  Set(CURLOPT_NOPROGRESS, 1L);
}

CURLImpl::~CURLImpl() = default;

void CURLImpl::Clear() {
  progress_ = {};
  SetPost(nullptr);
  url_.clear();
  method_.clear();
  last_method_.clear();

  Set(CURLOPT_HEADER, 0L);
  for (const CURLoption option :
       {CURLOPT_CUSTOMREQUEST, CURLOPT_WRITEDATA, CURLOPT_WRITEFUNCTION, CURLOPT_READFUNCTION,
        CURLOPT_READDATA, CURLOPT_POSTFIELDS, CURLOPT_SEEKFUNCTION, CURLOPT_SEEKDATA,
        CURLOPT_XFERINFOFUNCTION, CURLOPT_XFERINFODATA, CURLOPT_PROXY, CURLOPT_PROXYUSERPWD,
        CURLOPT_MIMEPOST}) {
    Set(option, static_cast<void*>(nullptr));
  }
  for (const CURLoption option : {CURLOPT_POSTFIELDSIZE_LARGE, CURLOPT_INFILESIZE_LARGE,
                                  CURLOPT_MAX_SEND_SPEED_LARGE, CURLOPT_MAX_RECV_SPEED_LARGE}) {
    Set(option, curl_off_t{0});
  }
  Set(CURLOPT_PROXYPORT, 0L);
  Set(CURLOPT_NOPROGRESS, 1L);
  Set(CURLOPT_LOW_SPEED_LIMIT, kLowSpeed);
  Set(CURLOPT_LOW_SPEED_TIME, kLowSpeedSeconds);
  SetContentDecoding(true);

  query_.clear();
  headers_.clear();
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
  const CurlText escaped(curl_easy_escape(curl_.get(), text, 0));
  return OrEmpty(escaped.get());
}

std::string CURLImpl::Unescape(const char* text) const {
  int length = 0;
  const CurlText plain(curl_easy_unescape(curl_.get(), text, 0, &length));
  return OrEmpty(plain.get());
}

std::string CURLImpl::GetEffectiveURL() const {
  const char* url = nullptr;
  curl_easy_getinfo(curl_.get(), CURLINFO_EFFECTIVE_URL, &url);
  return OrEmpty(url);
}

std::string CURLImpl::GetScheme() const {
  const char* scheme = nullptr;
  curl_easy_getinfo(curl_.get(), CURLINFO_SCHEME, &scheme);
  return OrEmpty(scheme);
}
