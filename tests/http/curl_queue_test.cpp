#include "http/curl_queue.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

struct FakeRequest {
  FakeRequest() {
    if (refuses) throw std::runtime_error("refused");
  }
  void Clear() {
    cleared = true;
    proxy.clear();
  }
  void SetProxy(int type, const std::string& host, int port, const std::string& user,
                const std::string& password) {
    proxy = std::to_string(type) + " " + host + " " + std::to_string(port) + " " + user + " " +
            password;
  }

  bool cleared = false;
  std::string proxy;
  static inline bool refuses = false;
};

}  // namespace

TEST(CurlQueueTest, LendsTheLatestReturnedClearedAndOutlivesRefusals) {
  CURLQueue<FakeRequest> pool;
  const auto first = pool.GetCURL();
  const auto second = pool.GetCURL();
  FakeRequest::refuses = true;
  EXPECT_THROW(pool.GetCURL(), std::runtime_error);
  FakeRequest::refuses = false;
  pool.PutCURL(first);
  { const AutoPutCURL<FakeRequest> give_back(pool, second); }
  EXPECT_TRUE(second->cleared);
  EXPECT_EQ(pool.GetCURL(), second);
  EXPECT_EQ(pool.GetCURL(), first);
}

TEST(CurlQueueTest, AppliesTheProxyOnEveryLending) {
  const std::pair<_PROXYINFO, const char*> rows[] = {
      {{"SOCKS5", "h", "abc", "", ""}, "2 h 0  "},
      {{"HTTP with TUNNEL", "h", "3128", "u", "p"}, "3 h 3128 u p"},
      {{"HTTP without TUNNEL", "h", "3128", "", ""}, "4 h 3128  "},
      {{"SOCKS4", "h", "1", "", ""}, "1 h 1  "},
      {{"socks5", "h", "1", "", ""}, ""},
      {{"", "h", "1", "", ""}, ""},
  };
  CURLQueue<FakeRequest> pool;
  for (const auto& [proxy, applied] : rows) {
    pool.SetProxy(proxy);
    const auto request = pool.GetCURL();
    EXPECT_EQ(request->proxy, applied);
    pool.PutCURL(request);
  }
}
