#include "http/curl_impl.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "emulator/emulator.h"

namespace {

// Talks to an emulator directly; a plain CURLImpl does not verify servers.
class CurlImplTest : public testing::Test {
 protected:
  CurlImplTest() {
    service.AddFault({.call = "b2_echo", .times = 1000, .status = 200, .body = "answer"});
    request.SetURL(Url("b2_echo").c_str());
  }

  std::string Url(const std::string& call) const {
    return "https://127.0.0.1:" + std::to_string(service.port()) + "/b2api/v1/" + call;
  }

  emulator::Emulator service;
  CURLImpl request;
};

std::string Body(const _CURLRTN& result) {
  return result.body ? std::string(result.body.get(), static_cast<std::size_t>(result.bodyLength))
                     : "";
}

}  // namespace

TEST_F(CurlImplTest, QueryValuesAreEscapedAndJoinTheUrl) {
  EXPECT_EQ(request.BuildQueryString(true), "");
  request.AddQuery("k y", "a b&c");
  EXPECT_EQ(request.BuildQueryString(true), "k y=a%20b%26c");
  EXPECT_EQ(request.BuildQueryString(false), "k y=a b&c");
  EXPECT_EQ(request.Unescape(request.Escape("a/b ü").c_str()), "a/b ü");

  CURLImpl other;
  other.SetURL((Url("b2_echo") + "?x=1").c_str());
  other.AddQuery("y", "2 3");
  EXPECT_EQ(other.PerformGet(nullptr, nullptr).code, CURLE_OK);
  EXPECT_TRUE(service.requests().back().target.ends_with("b2_echo?x=1&y=2%203"));
}

TEST_F(CurlImplTest, HeadersFormatEveryKindAndReplaceEqualNames) {
  request.AddHeader("N", 12345LL);
  EXPECT_STREQ(HeaderList(request.BuildHeader())->data, "N: 12345");
  request.AddHeader("N", "text");
  const HeaderList headers(request.BuildHeader());
  EXPECT_STREQ(headers->data, "N: text");
  EXPECT_EQ(headers->next, nullptr);
}

TEST_F(CurlImplTest, ResultsHoldHeaderBlockAndBody) {
  const _CURLRTN got = request.PerformGet(nullptr, nullptr);
  EXPECT_EQ(got.httpCode, 200);
  EXPECT_EQ(Body(got), "answer");
  EXPECT_EQ(std::string(got.headerBlock.get()).size(), static_cast<std::size_t>(got.headerSize));
  EXPECT_TRUE(std::string(got.headerBlock.get()).starts_with("HTTP/1.1 200"));
  EXPECT_EQ(request.GetLastRequest(), "GET");
  EXPECT_EQ(request.GetScheme(), "HTTPS");
  EXPECT_EQ(request.GetEffectiveURL(), Url("b2_echo"));

  const _CURLRTN posted = request.PerformPost("");
  EXPECT_EQ(Body(posted), "answer");
  EXPECT_EQ(service.requests().back().Header("Content-Length"), "0");

  const _CURLRTN head = request.PerformHead();
  EXPECT_EQ(head.httpCode, 200);
  EXPECT_GT(head.headerSize, 0);
  EXPECT_EQ(head.bodyLength, 0);
  EXPECT_EQ(head.body, nullptr);
}

TEST_F(CurlImplTest, OwnSinkGetsTheBodyAlone) {
  std::string sunk;
  const auto sink = +[](char* data, std::size_t size, std::size_t count, std::string* text) {
    text->append(data, size * count);
    return size * count;
  };
  request.PerformPost("earlier");  // captures headers, which must not leak into the next transfer
  const _CURLRTN result = request.PerformGet(CallbackPointer(sink), &sunk);
  EXPECT_EQ(sunk, "answer");
  EXPECT_EQ(result.headerBlock, nullptr);
  EXPECT_EQ(result.bodyLength, 0);
  EXPECT_EQ(result.httpCode, 200);
}

TEST_F(CurlImplTest, ClearLeavesNothingForTheNextRequest) {
  request.AddHeader("X-Secret", "1");
  request.AddQuery("secret", "1");
  request.SetRequest("PUT");
  request.SetProxy(3, "127.0.0.1", 1, "user", "password");
  request.SetSpeedLimit(1);
  const _CURLRTN failed = request.PerformPost("body");
  EXPECT_NE(failed.code, CURLE_OK);
  EXPECT_EQ(failed.httpCode, 0);
  EXPECT_EQ(failed.body, nullptr);
  request.Clear();
  EXPECT_EQ(request.GetURL() + request.GetRequest() + request.GetLastRequest(), "");

  request.SetURL(Url("b2_echo").c_str());
  EXPECT_EQ(request.PerformGet(nullptr, nullptr).code, CURLE_OK);
  const auto seen = service.requests().back();
  EXPECT_EQ(seen.method, "GET");
  EXPECT_EQ(seen.target, "/b2api/v1/b2_echo");
  EXPECT_EQ(seen.Header("X-Secret") + seen.Header("Proxy-Authorization"), "");
  EXPECT_EQ(seen.Header("User-Agent"), "Tervanix(gzip)");
}
