#include "http/proxy_type.h"

int ProtocolUtil::curlProxyType(std::string type) {
  if (type == "SOCKS4") return 1;
  if (type == "SOCKS5") return 2;
  if (type == "HTTP with TUNNEL") return 3;
  if (type == "HTTP without TUNNEL") return 4;
  return 0;
}
