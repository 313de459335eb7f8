#include "http/curl_queue.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

struct FakeRequest {
  FakeRequest() {
    if (refuses) throw std::runtime_error("refused");
  }
  void Clear() { proxy = "cleared"; }
  void SetProxy(int type, const std::string& host, int port, const std::string& user,
                const std::string& password) {
    proxy = std::to_string(type) + " " + host + " " + std::to_string(port) + " " + user + password;
  }

  std::string proxy;
  static inline bool refuses = false;
};

TEST(CurlQueueTest, LendsTheLatestReturnedClearedAndOutlivesRefusals) {
  CURLQueue<FakeRequest> pool;
  const auto first = pool.GetCURL();
  const auto second = pool.GetCURL();
  FakeRequest::refuses = true;
  EXPECT_THROW(pool.GetCURL(), std::runtime_error);
  pool.PutCURL(first);
  { const AutoPutCURL<FakeRequest> give_back(pool, second); }
  EXPECT_EQ(pool.GetCURL(), second);
  EXPECT_EQ(pool.GetCURL(), first);
  const std::pair<_PROXYINFO, const char*> rows[] = {
      {{"SOCKS5", "h", "abc", "", ""}, "2 h 0 "},
      {{"HTTP with TUNNEL", "h", "3128", "u", "p"}, "3 h 3128 up"},
      {{"HTTP without TUNNEL", "h", "3128", "", ""}, "4 h 3128 "},
      {{"socks5", "h", "1", "", ""}, "cleared"},
  };
  for (const auto& [proxy, applied] : rows) {
    pool.SetProxy(proxy);
    pool.PutCURL(first);
    EXPECT_EQ(pool.GetCURL()->proxy, applied);
  }
}

}  // namespace
