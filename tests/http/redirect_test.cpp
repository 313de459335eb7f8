#include <gtest/gtest.h>

#include "emulator/emulator.h"
#include "http/backblaze_b2_curl.h"

namespace {

class RedirectTest : public testing::Test {
 protected:
  // Posts with a token to a host in clear, which sends the request to `location`; hosts of the
  // service stand for 127.0.0.1.
  CURLcode Follow(CURLImpl& request, const std::string& location) {
    service.AddFault({.status = 302, .location = location});
    curl_slist* names = nullptr;
    for (const char* host : {"api", "api001"}) {
      names =
          curl_slist_append(names, (host + (".backblazeb2.com:" + port) + ":127.0.0.1").c_str());
    }
    const HeaderList owner(names);
    curl_easy_setopt(request.GetCURL(), CURLOPT_RESOLVE, names);
    request.AddHeader("Authorization", "the token");
    request.SetURL(("http://api.backblazeb2.com:" + port + kPath).c_str());
    return static_cast<CURLcode>(request.PerformPost("").code);
  }

  static constexpr const char* kPath = "/b2api/v1/b2_list_buckets";
  emulator::Emulator service;
  const std::string port = std::to_string(service.port());
};

TEST_F(RedirectTest, TokenStaysWithItsHost) {
  for (const std::string host : {"api", "api001"}) {
    service.ClearRequests();
    CURLImpl request;
    EXPECT_EQ(Follow(request, "http://" + host + ".backblazeb2.com:" + port + kPath), CURLE_OK);
    const auto seen = service.requests();
    ASSERT_EQ(seen.size(), 2U) << host;
    EXPECT_EQ(seen[0].Header("Authorization"), "the token");
    EXPECT_EQ(seen[1].Header("Authorization"), host == "api" ? "the token" : "");
  }
}

TEST_F(RedirectTest, ServiceCallsFollowHttpsOnly) {
  for (const std::string& location :
       {std::string("file:///dev/null"), "http://api.backblazeb2.com:" + port + kPath}) {
    service.ClearRequests();
    BackBlazeB2CURL request;
    // So that the first request, to which the same rule applies, can be made at all.
    curl_easy_setopt(request.GetCURL(), CURLOPT_PROTOCOLS_STR, "http");
    EXPECT_EQ(Follow(request, location), CURLE_UNSUPPORTED_PROTOCOL);
    EXPECT_EQ(service.requests().size(), 1U);
  }
}

}  // namespace
