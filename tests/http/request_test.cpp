#include <gtest/gtest.h>

#include <stdexcept>

#include "emulator/emulator.h"
#include "http/curl_logger.h"
#include "http/curl_queue.h"
#include "protocol/log.h"
#include "tests/support/recording_log.h"

namespace {

// Requests to an emulator, which they do not verify.
class RequestTest : public testing::Test {
 protected:
  RequestTest() {
    logger = &log;
    service.AddFault({.call = "b2_echo", .times = -1, .status = 200, .body = "answer"});
    request.SetURL(url.c_str());
  }
  ~RequestTest() override { logger = nullptr; }

  RecordingLog log;
  emulator::Emulator service;
  const std::string url =
      "https://127.0.0.1:" + std::to_string(service.port()) + "/b2api/v1/b2_echo";
  CURLLogger request;
};

TEST_F(RequestTest, SendsWhatWasSetLogsOneLineAndGivesHeadersAndBody) {
  request.SetURL((url + "?x=1").c_str());
  request.AddQuery("k+y", "a b&c");
  request.AddHeader("N", 12345LL);
  request.AddHeader("T", "replaced");
  request.AddHeader("T", "text");
  const _CURLRTN got = request.PerformGet(nullptr, nullptr);
  EXPECT_EQ(got.httpCode, 200);
  EXPECT_EQ(std::string(got.body.get(), static_cast<std::size_t>(got.bodyLength)), "answer");
  EXPECT_EQ(std::string(got.headerBlock.get()).size(), static_cast<std::size_t>(got.headerSize));
  EXPECT_TRUE(std::string(got.headerBlock.get()).starts_with("HTTP/1.1 200"));
  EXPECT_EQ(request.GetLastRequest() + request.GetScheme(), "GETHTTPS");
  EXPECT_EQ(request.GetEffectiveURL(), url + "?x=1&k+y=a%20b%26c");
  const auto seen = service.requests().back();
  EXPECT_TRUE(seen.target.ends_with("b2_echo?x=1&k+y=a%20b%26c"));
  EXPECT_EQ(seen.Header("N") + seen.Header("T"), "12345text");
  const auto lines = log.Take();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_TRUE(lines[0].starts_with("1 [PERF      ] Download "));
  EXPECT_TRUE(lines[0].ends_with("b/s : " + url + "?x=1&k+y=a b&c(6 bytes)"));
  EXPECT_EQ(request.PerformHead().body, nullptr);
}

TEST_F(RequestTest, TraceShowsLinesButNoBodiesNorPasswords) {
  log.trace = true;
  EXPECT_EQ(request.PerformPost("four").code, CURLE_OK);
  EXPECT_TRUE(log.Contains("b/s : " + url + "(4 / 6 bytes)"));
  EXPECT_TRUE(log.Contains("2 [NETWORK   ] [INFORMATION] "));
  EXPECT_TRUE(log.Contains("1 [NETWORK   ] [HEADER   <<] POST "));
  EXPECT_TRUE(log.Contains("1 [NETWORK   ] [HEADER   >>] HTTP/1.1 200"));
  EXPECT_FALSE(log.Contains("four") || log.Contains("answer") || log.Contains(">>] \r\n"));
  log.Take();
  char secret[] = "PASS secret\r\n";
  CURLDebug(nullptr, CURLINFO_HEADER_OUT, secret, sizeof secret - 1, nullptr);
  EXPECT_TRUE(log.Take().empty());
  logger = nullptr;
  EXPECT_EQ(request.PerformGet(nullptr, nullptr).code, CURLE_OK);
}

TEST_F(RequestTest, ClearLeavesNothingForTheNextRequest) {
  request.AddHeader("X-Secret", "1");
  request.AddQuery("secret", "1");
  request.SetRequest("PUT");
  request.SetProxy(3, "127.0.0.1", 1, "user", "password");
  request.SetSpeedLimit(1);
  const _CURLRTN failed = request.PerformPost("body");
  EXPECT_FALSE(failed.errorText.empty());
  EXPECT_EQ(failed.httpCode, 0);
  request.Clear();
  EXPECT_EQ(request.GetURL() + request.GetRequest() + request.GetLastRequest(), "");
  request.SetURL(url.c_str());
  EXPECT_EQ(request.PerformGet(nullptr, nullptr).code, CURLE_OK);
  const auto seen = service.requests().back();
  EXPECT_EQ(seen.method + seen.target, "GET/b2api/v1/b2_echo");
  EXPECT_EQ(seen.Header("X-Secret") + seen.Header("Proxy-Authorization"), "");
  EXPECT_EQ(seen.Header("User-Agent"), "Tervanix(gzip)");
}

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
