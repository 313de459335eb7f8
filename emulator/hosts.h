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

// The refusal of a request that lacks the proxy credentials asked for, or goes to a host that is
// not served: by proxy only the service's own hosts are.
std::optional<Answer> RefusalOf(const Options& options, const Request& request, bool by_proxy);

// Splits the target into path and query. Of an absolute target (http://host/path), which only
// goes to a proxy, the host becomes the request's; returns whether it was one.
bool SplitTarget(Incoming& incoming);

}  // namespace emulator
