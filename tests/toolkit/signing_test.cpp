#include <gtest/gtest.h>

#include "toolkit/toolkit.h"

namespace {

// The identity, time and place of the scheme's published examples.
constexpr const char* kSecret = "wJalrXUtnFEMI/K7MDENG+bPxRfiCYEXAMPLEKEY";
const signing_scope kScope = {"20150830T123600Z", "us-east-1", "service"};

signing_request Get(const std::string& url, std::map<std::string, std::string> headers = {}) {
  headers.emplace("X-Amz-Date", kScope.time);
  return {"GET", url, headers, sha256_base16("")};
}

}  // namespace

TEST(SigningTest, SignaturesOfThePublishedRequests) {
  const std::string host = "https://example.amazonaws.com";
  const std::pair<signing_request, const char*> rows[] = {
      {Get(host), "5fa00fa31553b73ebf1942676e86291e8372ff2a2260956d9b8aae1d763fbf31"},
      {Get(host + "/?Param2=value2&Param1=value1"),
       "b97d918cfa904a5beff61c982a1b6f458b799221646efd99d3219ec94cdf2500"},
      {Get(host + "/\u1234"), "8318018e0b0f223aa2bbf98705b62bb787dc9c0e678f255a891fd03141be5d85"},
      {Get(host, {{"My-Header1", " value1"}, {"My-Header2", " \"a   b   c\""}}),
       "acc3ed3afb60bb290fc8d2dd0098b9911fcaa05412b367055dee359757a9c736"},
  };
  for (const auto& [request, signature] : rows) {
    EXPECT_EQ(request_signature(request, kScope, kSecret), signature) << request.url;
  }
  EXPECT_EQ(signed_headers(rows[3].first), "host;my-header1;my-header2;x-amz-date");
  EXPECT_EQ(hmacHex("Jefe", "what do ya want for nothing?"),
            "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843");
  EXPECT_EQ(
      hmacHex(std::string(131, '\xAA'), "Test Using Larger Than Block-Size Key - Hash Key First"),
      "60e431591ee0b67f0d8a26aacbf5b77f8e0bc6213728c5140546040f0ee37f54");
}

TEST(SigningTest, NormalFormOfUnusualUrls) {
  const signing_request request =
      Get("http://host:8080/a//b%2fc%7e%00d/../e f?z&b=2&b=1%2B+&&a%20=", {{"x-amz-date", "2"}});
  EXPECT_EQ(canonical_request(request),
            "GET\n/a//b/c~%00d/../e%20f\na%20=&b=1%2B%2B&b=2&z=\n"
            "host:host:8080\nx-amz-date:20150830T123600Z,2\n\nhost;x-amz-date\n" +
                request.payload_hash);
  EXPECT_NE(canonical_request(Get("https://h:443/")).find("\nhost:h\n"), std::string::npos);
  for (const char* url : {"", "/path", "https://", "http://h:port/"}) {
    EXPECT_EQ(request_signature(Get(url), kScope, kSecret), "") << url;
  }
}
