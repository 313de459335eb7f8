#pragma once

#include <string>

#include "protocol/records.h"

namespace b2drive {

// Reads SCHEME://[USER[:PASSWORD]@]HOST:PORT, with the scheme http (every connection tunnelled),
// http+forward (requests forwarded), socks4 or socks5, %XX in user and password decoded and an
// IPv6 host in brackets. Throws kUsage without repeating the text, which may hold a password.
_PROXYINFO ParseProxy(const std::string& url);

}  // namespace b2drive
