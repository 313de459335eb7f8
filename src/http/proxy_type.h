#pragma once

#include <string>

namespace ProtocolUtil {

// The `type` of CURLImpl::SetProxy for the proxy-type option's text, compared exactly: 1 SOCKS4,
// 2 SOCKS5, 3 HTTP with tunnel, 4 HTTP without, 0 (no proxy) for anything else.
int curlProxyType(std::string type);

}  // namespace ProtocolUtil
