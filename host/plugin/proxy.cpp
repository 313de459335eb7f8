#include "host/plugin/proxy.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

#include "base/encodings.h"
#include "base/numbers.h"
#include "host/common/errors.h"

namespace b2drive {
namespace {

struct Scheme {
  std::string_view name;
  const char* type;
};

constexpr std::array kSchemes = {
    Scheme{"http", "HTTP with TUNNEL"},
    Scheme{"http+forward", "HTTP without TUNNEL"},
    Scheme{"socks4", "SOCKS4"},
    Scheme{"socks5", "SOCKS5"},
};

[[noreturn]] void Refuse(const std::string& reason) {
  throw HostError(ExitCode::kUsage,
                  "proxy: " + reason +
                      "; expected http://[user:password@]host:port, or http+forward, socks4 or "
                      "socks5 in place of http");
}

std::string TypeOf(std::string_view scheme) {
  auto found = std::ranges::find(kSchemes, scheme, &Scheme::name);
  if (found == kSchemes.end()) Refuse("unknown scheme");
  return found->type;
}

std::string Decoded(std::string_view text) {
  auto decoded = base::PercentDecode(text);
  if (!decoded) Refuse("broken %XX in user or password");
  return *decoded;
}

void ReadPort(std::string_view digits, _PROXYINFO& proxy) {
  const auto port = base::ParseNumber<std::uint16_t>(digits).value_or(0);
  if (port == 0) Refuse("the port must be a number from 1 to 65535");
  proxy.port = std::to_string(port);
}

}  // namespace

_PROXYINFO ParseProxy(const std::string& url) {
  std::string_view rest = url;
  std::size_t colon = rest.find("://");
  if (colon == std::string_view::npos) Refuse("no scheme");
  _PROXYINFO proxy;
  proxy.type = TypeOf(rest.substr(0, colon));
  rest.remove_prefix(colon + 3);
  if (rest.ends_with('/')) rest.remove_suffix(1);
  if (std::size_t at = rest.rfind('@'); at != std::string_view::npos) {
    std::string_view login = rest.substr(0, at);
    std::size_t split = std::min(login.find(':'), login.size());
    proxy.user = Decoded(login.substr(0, split));
    proxy.password = Decoded(login.substr(std::min(split + 1, login.size())));
    rest.remove_prefix(at + 1);
  }
  std::size_t port = rest.rfind(':');
  if (port == std::string_view::npos || port == 0) Refuse("host and port are needed");
  proxy.host = rest.substr(0, port);
  if (proxy.host.find_first_of("/?#") != std::string::npos) Refuse("only host and port are taken");
  ReadPort(rest.substr(port + 1), proxy);
  return proxy;
}

}  // namespace b2drive
