#pragma once

#include <string>
#include <utility>
#include <vector>

namespace conform {

using Headers = std::vector<std::pair<std::string, std::string>>;

struct HttpAnswer {
  int status = 0;
  std::string body;
};

// One request to a proxy on 127.0.0.1, without TLS: whatever scheme the URL has, it is asked for as
// http. Throws std::exception when no answer comes.
HttpAnswer Ask(int proxy_port, const std::string& method, const std::string& url,
               const Headers& headers, const std::string& body);

}  // namespace conform
