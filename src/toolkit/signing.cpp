#include <event2/http.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <new>
#include <string_view>
#include <utility>
#include <vector>

#include "toolkit/texts.h"
#include "toolkit/toolkit.h"
#include "util/free_with.h"
#include "util/strings.h"
#include "util/url_encode.h"

namespace {

using Uri = std::unique_ptr<evhttp_uri, util::FreeWith<evhttp_uri_free>>;
using Headers = std::map<std::string, std::string>;

// Null for a URL that does not parse or has no host.
Uri ParseUrl(const std::string& url) {
  Uri uri(evhttp_uri_parse_with_flags(url.c_str(), EVHTTP_URI_NONCONFORMANT));
  const char* host = uri ? evhttp_uri_get_host(uri.get()) : nullptr;
  if (host == nullptr || *host == '\0') uri.reset();
  return uri;
}

// The one encoding of a text that came in any of its encodings. URLEncode ends at a zero byte, so
// the pieces between zero bytes are encoded one by one.
std::string Reencode(const std::string& text, bool encode_slash) {
  constexpr int kPlusIsPlus = 0;
  std::size_t size = 0;
  const std::unique_ptr<char, util::FreeWith<std::free>> bytes(
      evhttp_uridecode(text.c_str(), kPlusIsPlus, &size));
  if (!bytes) throw std::bad_alloc();
  const std::string_view decoded(bytes.get(), size);
  std::string encoded = URLEncode(bytes.get(), encode_slash);
  for (std::size_t zero = decoded.find('\0'); zero != decoded.npos;
       zero = decoded.find('\0', zero + 1)) {
    encoded += "%00" + URLEncode(bytes.get() + zero + 1, encode_slash);
  }
  return encoded;
}

std::string CanonicalPath(const evhttp_uri& uri) {
  const char* path = evhttp_uri_get_path(&uri);
  return path == nullptr || *path == '\0' ? "/" : Reencode(path, false);
}

std::string CanonicalQuery(const evhttp_uri& uri) {
  const char* query = evhttp_uri_get_query(&uri);
  std::vector<std::pair<std::string, std::string>> parameters;
  for (const std::string& parameter : split_delim(query != nullptr ? query : "", "&")) {
    const std::size_t name_end = std::min(parameter.find('='), parameter.size());
    const std::size_t value_begin = std::min(name_end + 1, parameter.size());
    parameters.emplace_back(Reencode(parameter.substr(0, name_end), true),
                            Reencode(parameter.substr(value_begin), true));
  }
  std::sort(parameters.begin(), parameters.end());
  std::vector<std::string> texts;
  texts.reserve(parameters.size());
  for (const auto& [name, value] : parameters) texts.push_back(join({name, value}, "="));
  return join(texts, "&");
}

// As clients send it: with the port only where it is not the scheme's own.
std::string HostHeader(const evhttp_uri& uri) {
  const std::string host = evhttp_uri_get_host(&uri);
  const char* scheme = evhttp_uri_get_scheme(&uri);
  const int default_port = util::LowerCase(scheme != nullptr ? scheme : "") == "http" ? 80 : 443;
  const int port = evhttp_uri_get_port(&uri);
  return port == -1 || port == default_port ? host : host + ":" + std::to_string(port);
}

// Names in lower case, values with single blanks; values of names that differ in case only are
// joined.
Headers CanonicalHeaders(const signing_request& request, const evhttp_uri& uri) {
  Headers headers;
  for (const auto& [name, value] : request.headers) {
    const std::string text = join(split_delim(value, " \t"), " ");
    const auto [header, inserted] = headers.emplace(util::LowerCase(name), text);
    if (!inserted) header->second += "," + text;
  }
  headers.emplace("host", HostHeader(uri));
  return headers;
}

std::string NamesOf(const Headers& headers) {
  std::vector<std::string> names;
  for (const auto& header : headers) names.push_back(header.first);
  return join(names, ";");
}

std::string ScopeText(const signing_scope& scope) {
  return join({scope.time.substr(0, 8), scope.region, scope.service, kSigningScopeEnd}, "/");
}

}  // namespace

std::string canonical_request(const signing_request& request) {
  const Uri uri = ParseUrl(request.url);
  if (!uri) return {};
  const Headers headers = CanonicalHeaders(request, *uri);
  std::string header_lines;
  for (const auto& [name, value] : headers) header_lines += join({name, value}, ":") + "\n";
  return join({request.method, CanonicalPath(*uri), CanonicalQuery(*uri), header_lines,
               NamesOf(headers), request.payload_hash},
              "\n");
}

std::string signed_headers(const signing_request& request) {
  const Uri uri = ParseUrl(request.url);
  return uri ? NamesOf(CanonicalHeaders(request, *uri)) : std::string();
}

std::string string_to_sign(const signing_scope& scope, const std::string& canonical) {
  return join({kSigningAlgorithm, scope.time, ScopeText(scope), sha256_base16(canonical)}, "\n");
}

std::string signing_key(const std::string& secret, const signing_scope& scope) {
  const std::string day_key = hmac(kSigningKeyPrefix + secret, scope.time.substr(0, 8));
  return hmac(hmac(hmac(day_key, scope.region), scope.service), kSigningScopeEnd);
}

std::string request_signature(const signing_request& request, const signing_scope& scope,
                              const std::string& secret) {
  const std::string canonical = canonical_request(request);
  if (canonical.empty()) return {};
  return hmacHex(signing_key(secret, scope), string_to_sign(scope, canonical));
}
