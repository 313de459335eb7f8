#include "emulator/hosts.h"

#include <algorithm>

#include "emulator/names.h"

namespace emulator {
namespace {

bool IsService(std::string_view host) { return host.ends_with(".backblazeb2.com"); }

// Where it is open to others, they may call it what they like.
bool HostServed(const Options& options, std::string_view host, bool by_proxy) {
  if (IsService(host)) return true;
  if (by_proxy) return false;
  if (options.allow_remote) return true;
  return host == "localhost" || host == "127.0.0.1" || host == "[::1]" || host == options.listen ||
         std::ranges::find(options.names, host) != options.names.end();
}

bool ProxyAllowed(const Options& options, const Request& request) {
  if (options.proxy_user.empty()) return true;
  const auto [user, password] = ParseBasic(request.Header("Proxy-Authorization"));
  return user == options.proxy_user && password == options.proxy_password;
}

}  // namespace

std::string HostOf(std::string_view authority) {
  const size_t colon = authority.rfind(':');
  // Not one of an IPv6 address in its brackets.
  const bool is_port = authority.find(']', colon) == std::string_view::npos;
  return ToLower(is_port ? authority.substr(0, colon) : authority);
}

std::optional<Answer> RefusalOf(const Options& options, const Request& request, bool by_proxy) {
  if (by_proxy && !ProxyAllowed(options, request)) {
    Answer refusal =
        ErrorAnswer(407, "proxy_authentication_required", "Proxy credentials are wrong");
    refusal.headers.emplace_back("Proxy-Authenticate", "Basic realm=\"b2emulator\"");
    return refusal;
  }
  if (HostServed(options, request.host, by_proxy)) return std::nullopt;
  return ErrorAnswer(403, "access_denied", "Not a host of the service: " + request.host);
}

std::string BaseOf(const Request& request) {
  if (IsService(request.host)) return "";
  return (request.secure ? "https://" : "http://") + request.Header("Host");
}

bool SplitTarget(Incoming& incoming) {
  constexpr std::string_view kScheme = "http://";
  Request& record = incoming.record;
  const bool absolute = record.target.starts_with(kScheme);
  if (absolute) {
    const std::string_view rest = std::string_view(record.target).substr(kScheme.size());
    const size_t slash = std::min(rest.find('/'), rest.size());
    record.host = HostOf(rest.substr(0, slash));
    record.target = std::string(slash == rest.size() ? "/" : rest.substr(slash));
  }
  const size_t question = std::min(record.target.find('?'), record.target.size());
  incoming.path = record.target.substr(0, question);
  incoming.query = record.target.substr(std::min(question + 1, record.target.size()));
  return absolute;
}

}  // namespace emulator
