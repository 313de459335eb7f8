#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>

#include "client.h"

static std::atomic<bool> no_threads = false;  // none can be started

extern "C" __attribute__((visibility("default"))) int pthread_create(
    pthread_t* thread, const pthread_attr_t* attributes, void* (*run)(void*), void* argument) {
  static const auto real =
      reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
  return no_threads ? EAGAIN : real(thread, attributes, run, argument);
}

namespace emulator {
namespace {

constexpr const char* kFaults = "https://control.backblazeb2.com/faults";
constexpr const char* kLatency = "https://control.backblazeb2.com/latency";

using HostileTest = EmulatorTest;

TEST_F(HostileTest, WhatCannotBeServedIsRefused) {
  const std::string own = R"({"accountId": ")" + emulator_.account_id() + "\", \"bucketId\": \"" +
                          bucket_.id + R"(", "keyName": "k", "capabilities": ["listFiles"], )";
  const std::string deep = std::string(500'000, '[') + std::string(500'000, ']');
  const std::string api = "https://api001.backblazeb2.com/b2api/v1/";
  constexpr const char* kNoJson = "400 bad_json";
  struct Row {
    std::string url, body;
    const char* outcome = "400 bad_request";
  };
  const Row rows[] = {
      {api + "b2_update_bucket", own + "\"corsRules\": " + deep + "}", kNoJson},
      {api + "b2_create_key", own + R"("validDurationInSeconds": 9223372036854775807})"},
      {api + "b2_list_file_names", own + R"("maxFileCount": 18446744073709551615})"},
      {api + "b2_list_buckets", own + "\"x\": 1e999}", kNoJson},
      {kFaults, deep, kNoJson},
      {kFaults, "{", kNoJson},
      {kFaults, "[7]", kNoJson},
      {kFaults, R"({"status": "x"})", kNoJson},
      {kFaults, R"({"status": 503.5})", kNoJson},
      {kFaults, R"({"status": 4294967799})", kNoJson},
      {kFaults, R"({"status": 99})"},
      {kFaults, R"({"status": 600})"},
      {kFaults, R"({"status": -1})"},
      {kFaults, R"({"cutAfter": -1})", kNoJson},
      {kFaults, R"({"delayMilliseconds": -1})"},
      {kFaults, R"({"delayMilliseconds": 9223372036854775807})"},
      {kFaults, R"({"replace": [["", "x"]]})"},
      {kFaults, R"({"gzipBlanks": 1})"},
      {kFaults, R"({"gzipBlanks": 1099511627777})"},
      {kFaults, R"([{"status": 503}, {"stauts": 503}])"},
      {kFaults, R"({"call": "b2_list_names"})"},
      {kLatency, R"({"milliseconds": -1})"},
      {kLatency, R"({"milliseconds": 86400001})"},
      {kLatency, R"({"milliseconds": 1.5})", kNoJson},
      {kLatency, "[]", kNoJson},
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

TEST_F(HostileTest, ConnectionsWithoutAThreadAreClosed) {
  no_threads = true;
  EXPECT_EQ(Client(emulator_).Send(kFaults).status, 0);
  no_threads = false;
  EXPECT_EQ(Client(emulator_).Send(kFaults).status, 404);
}

}  // namespace
}  // namespace emulator
