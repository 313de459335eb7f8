#include "http/curl_logger.h"

#include <gtest/gtest.h>

#include "emulator/emulator.h"
#include "protocol/log.h"
#include "tests/support/recording_log.h"

namespace {

class CurlLoggerTest : public testing::Test {
 protected:
  CurlLoggerTest() { logger = &log; }
  ~CurlLoggerTest() override { logger = nullptr; }

  RecordingLog log;
};

}  // namespace

TEST_F(CurlLoggerTest, DebugCallbackChoosesWhatToShow) {
  for (auto [type, text] : {std::pair<curl_infotype, std::string>{CURLINFO_TEXT, "Connected\n"},
                            {CURLINFO_HEADER_IN, "HTTP/1.1 200\r\n"},
                            {CURLINFO_HEADER_IN, "\r\n"},
                            {CURLINFO_HEADER_OUT, "GET / HTTP/1.1\r\n"},
                            {CURLINFO_HEADER_OUT, "PASS secret\r\n"},
                            {CURLINFO_DATA_IN, "body"}}) {
    EXPECT_EQ(CURLDebug(nullptr, type, text.data(), text.size(), nullptr), 0);
  }
  EXPECT_EQ(log.Take(),
            (std::vector<std::string>{"2 [NETWORK   ] [INFORMATION] Connected\n",
                                      "1 [NETWORK   ] [HEADER   >>] HTTP/1.1 200\r\n",
                                      "1 [NETWORK   ] [HEADER   <<] GET / HTTP/1.1\r\n"}));
}

TEST_F(CurlLoggerTest, TransfersWriteOneLineEachAndTraceWhenAsked) {
  emulator::Emulator service;
  service.AddFault({.call = "b2_echo", .times = 9, .status = 200, .body = "answer"});
  const std::string url =
      "https://127.0.0.1:" + std::to_string(service.port()) + "/b2api/v1/b2_echo";
  CURLLogger request;
  request.SetURL(url.c_str());
  request.AddQuery("k", "a b");

  EXPECT_EQ(request.PerformGet(nullptr, nullptr).code, CURLE_OK);
  EXPECT_EQ(request.GetLastURL(), url + "?k=a b");
  auto lines = log.Take();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_TRUE(lines[0].starts_with("1 [PERF      ] Download "));
  EXPECT_TRUE(lines[0].ends_with("b/s : " + url + "?k=a b(6 bytes)"));

  log.trace = true;
  EXPECT_EQ(request.PerformPost("four").code, CURLE_OK);
  EXPECT_TRUE(log.Contains("b/s : " + url + "?k=a b(4 / 6 bytes)"));
  EXPECT_TRUE(log.Contains("1 [NETWORK   ] [HEADER   <<] POST "));
  EXPECT_TRUE(log.Contains("1 [NETWORK   ] [HEADER   >>] HTTP/1.1 200"));

  logger = nullptr;
  EXPECT_EQ(request.PerformGet(nullptr, nullptr).code, CURLE_OK);
  request.SetURL("https://127.0.0.1:1/");
  EXPECT_FALSE(request.PerformGet(nullptr, nullptr).errorText.empty());
}
