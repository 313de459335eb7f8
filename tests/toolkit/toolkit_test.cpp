#include "toolkit/toolkit.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

// The identity, time and place of the scheme's published examples.
constexpr const char* kSecret = "wJalrXUtnFEMI/K7MDENG+bPxRfiCYEXAMPLEKEY";
const signing_scope kScope = {"20150830T123600Z", "us-east-1", "service"};

signing_request Get(const std::string& url, std::map<std::string, std::string> headers = {}) {
  headers.emplace("X-Amz-Date", kScope.time);
  return {"GET", url, headers, sha256_base16("")};
}

}  // namespace

TEST(ToolkitTest, SignaturesOfThePublishedRequests) {
  const std::string host = "https://example.amazonaws.com";
  const std::pair<signing_request, const char*> rows[] = {
      {Get(host + "/?Param2=value2&Param1=value1"),
       "b97d918cfa904a5beff61c982a1b6f458b799221646efd99d3219ec94cdf2500"},
      {Get(host + "/\u1234"), "8318018e0b0f223aa2bbf98705b62bb787dc9c0e678f255a891fd03141be5d85"},
      {Get(host, {{"My-Header1", " value1"}, {"My-Header2", " \"a   b   c\""}}),
       "acc3ed3afb60bb290fc8d2dd0098b9911fcaa05412b367055dee359757a9c736"},
  };
  for (const auto& [request, signature] : rows) {
    EXPECT_EQ(request_signature(request, kScope, kSecret), signature) << request.url;
  }
  EXPECT_EQ(
      hmacHex(std::string(131, '\xAA'), "Test Using Larger Than Block-Size Key - Hash Key First"),
      "60e431591ee0b67f0d8a26aacbf5b77f8e0bc6213728c5140546040f0ee37f54");
  const signing_request unusual =
      Get("http://host:8080/a//b%2fc%7e%00d/../e f?z&b=2&b=1%2B+&&a%20=", {{"x-amz-date", "2"}});
  EXPECT_EQ(canonical_request(unusual),
            "GET\n/a//b/c~%00d/../e%20f\na%20=&b=1%2B%2B&b=2&z=\n"
            "host:host:8080\nx-amz-date:20150830T123600Z,2\n\nhost;x-amz-date\n" +
                unusual.payload_hash);
  EXPECT_NE(canonical_request(Get("https://h:443/")).find("\nhost:h\n"), std::string::npos);
  for (const char* url : {"", "/path", "https://", "http://h:port/"}) {
    EXPECT_EQ(request_signature(Get(url), kScope, kSecret), "") << url;
  }
}

TEST(ToolkitTest, ProcessesUuidsAndIniFiles) {
  EXPECT_EQ(run_command("exit 3").status, 3);
  EXPECT_EQ(run_command("kill -9 $$").status, 137);
  EXPECT_EQ(run_command("head -c 100000 /dev/zero").output, std::string(100000, '\0'));
  EXPECT_TRUE(is_process_alive(1));
  EXPECT_FALSE(is_process_alive(-1) || is_process_alive(INT32_MAX));
  EXPECT_THAT(new_uuid(), testing::MatchesRegex("[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-"
                                                "[89ab][0-9a-f]{3}-[0-9a-f]{12}"));
  EXPECT_NE(new_uuid(), new_uuid());

  const std::string path = testing::TempDir() + std::to_string(getpid()) + ".ini";
  const auto read = [&](const std::string& text) {
    run_command("printf '" + text + "' > " + path);
    return read_ini_file(path);
  };
  EXPECT_EQ(read("top = 1\\r\\n; c=1\\n#\\n\\n [ one ] \\n k = a = b \\nk==2\\n[two]"),
            (ini_sections{{"", {{"top", "1"}}}, {"one", {{"k", "=2"}}}, {"two", {}}}));
  EXPECT_EQ(read("[one\\n"), std::nullopt);
  EXPECT_EQ(read("ok=1\\nno equals sign\\n"), std::nullopt);
  unlink(path.c_str());
  EXPECT_EQ(read_ini_file(path), std::nullopt);
  EXPECT_EQ(read_ini_file(testing::TempDir()), std::nullopt);
}
