#include "client.h"

namespace emulator {
namespace {

constexpr const char* kApi = "https://api001.backblazeb2.com/b2api/v1/";
constexpr const char* kFaults = "https://control.backblazeb2.com/faults";
constexpr const char* kLatency = "https://control.backblazeb2.com/latency";

using HostileTest = EmulatorTest;

TEST_F(HostileTest, WhatCannotBeServedIsRefused) {
  const std::string own = R"({"accountId": ")" + emulator_.account_id() + "\", \"bucketId\": \"" +
                          bucket_.id +
                          "\", \"keyName\": \"k\", \"capabilities\": [\"listFiles\"], ";
  const std::string deep = std::string(500'000, '[') + std::string(500'000, ']');
  const std::string api = kApi;
  const std::tuple<std::string, std::string, const char*> rows[] = {
      {api + "b2_update_bucket", own + "\"corsRules\": " + deep + "}", "400 bad_json"},
      {api + "b2_create_key", own + R"("validDurationInSeconds": 9223372036854775807})",
       "400 bad_request"},
      {api + "b2_list_file_names", own + R"("maxFileCount": 18446744073709551615})",
       "400 bad_request"},
      {api + "b2_list_buckets", own + "\"x\": 1e999}", "400 bad_json"},
      {kFaults, deep, "400 bad_json"},
      {kFaults, "{", "400 bad_json"},
      {kFaults, "[7]", "400 bad_json"},
      {kFaults, R"({"status": "x"})", "400 bad_json"},
      {kFaults, R"({"status": 503.5})", "400 bad_json"},
      {kFaults, R"({"status": 4294967799})", "400 bad_json"},
      {kFaults, R"({"status": 1000})", "400 bad_request"},
      {kFaults, R"({"status": 99})", "400 bad_request"},
      {kFaults, R"({"status": 600})", "400 bad_request"},
      {kFaults, R"({"status": -1})", "400 bad_request"},
      {kFaults, R"({"cutAfter": -1})", "400 bad_json"},
      {kFaults, R"({"delayMilliseconds": -1})", "400 bad_request"},
      {kFaults, R"({"delayMilliseconds": 9223372036854775807})", "400 bad_request"},
      {kFaults, R"({"replace": [["", "x"]]})", "400 bad_request"},
      {kFaults, R"({"gzipBlanks": 1})", "400 bad_request"},
      {kFaults, R"({"gzipBlanks": 1099511627777})", "400 bad_request"},
      {kFaults, R"([{"status": 503}, {"stauts": 503}])", "400 bad_request"},
      {kFaults, R"({"call": "b2_list_names"})", "400 bad_request"},
      {kLatency, R"({"milliseconds": -1})", "400 bad_request"},
      {kLatency, R"({"milliseconds": 86400001})", "400 bad_request"},
      {kLatency, R"({"milliseconds": 1.5})", "400 bad_json"},
      {kLatency, "[]", "400 bad_json"},
  };
  for (const auto& [url, body, outcome] : rows) {
    const Reply reply = client_.Send(url, {"Authorization: " + token_}, body);
    EXPECT_EQ(reply.Outcome(), outcome) << url << body.substr(0, 200);
  }
  EXPECT_THROW(emulator_.AddFault({.status = 1000}), std::invalid_argument);
  EXPECT_EQ(Call("b2_list_file_names", {{"bucketId", bucket_.id}}).Outcome(), "200");
}

TEST_F(HostileTest, AnswersThatCannotBeMadeEndTheirConnectionOnly) {
  emulator_.AddFault({.status = 302, .location = std::string(70'000, 'x')});
  emulator_.AddFault({.call = "b2_hide_file", .cut_after = uint64_t{1} << 62});
  EXPECT_EQ(Download("a").status, 0);
  EXPECT_EQ(Call("b2_hide_file", {{"bucketId", bucket_.id}}).status, 200);
  EXPECT_EQ(Download("a").Outcome(), "404 not_found");
}

TEST_F(HostileTest, HeadersStayOneLine) {
  AddText(store(), "photos", "a", "x", {{"b2-expires", "1\r\nX-Info: 1"}});
  Reply reply = Download("a?b2ContentType=b%0D%0AX-Query:%201");
  EXPECT_EQ(reply.headers["content-type"], "b  X-Query: 1");
  EXPECT_EQ(reply.headers["expires"], "1  X-Info: 1");
}

// Every thread's stack is to be larger than the address space from here to the end.
class NoThreads {
 public:
  NoThreads() {
    pthread_getattr_default_np(&usual_);
    pthread_attr_t huge;
    pthread_attr_init(&huge);
    pthread_attr_setstacksize(&huge, size_t{1} << 47);
    EXPECT_EQ(pthread_setattr_default_np(&huge), 0);
    pthread_attr_destroy(&huge);
  }
  ~NoThreads() {
    pthread_setattr_default_np(&usual_);
    pthread_attr_destroy(&usual_);
  }

 private:
  pthread_attr_t usual_;
};

TEST_F(HostileTest, ConnectionsWithoutAThreadAreClosed) {
  {
    const NoThreads now;
    EXPECT_EQ(Client(emulator_).Send(kFaults).status, 0);
  }
  EXPECT_EQ(Client(emulator_).Send(kFaults).status, 404);
}

}  // namespace
}  // namespace emulator
