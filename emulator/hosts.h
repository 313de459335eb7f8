#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "emulator/message.h"
#include "emulator/options.h"

namespace emulator {

inline constexpr std::string_view kControlHost = "control.backblazeb2.com";

// The host of "host:port" in lower case.
std::string HostOf(std::string_view authority);

// The refusal of a request that lacks the proxy's credentials or goes to a host that is not served;
// none for any other. Through the proxy only the service's own hosts are served.
std::optional<Answer> RefusalOf(const Options& options, const Request& request, bool by_proxy);

// Where a client that comes without a proxy has found this, such as "http://localhost:8443"; "" for
// one that uses the service's own hosts.
std::string BaseOf(const Request& request);

// Splits the target into path and query. Returns whether it was absolute (http://host/path), as
// only proxies get it; its host becomes the request's then.
bool SplitTarget(Incoming& incoming);

}  // namespace emulator
