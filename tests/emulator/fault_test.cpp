#include <thread>

#include "client.h"

namespace emulator {
namespace {

using std::chrono::milliseconds;

class FaultTest : public EmulatorTest {
 protected:
  FaultTest() { client_.SetTimeout(std::chrono::seconds(20)); }

  Reply Hide(const std::string& name) {
    return Call("b2_hide_file", {{"bucketId", bucket_.id}, {"fileName", name}});
  }
};

// Connections that die must be fresh ones, or curl sends the request again: so each such row
// follows one that closed the connection.
struct Row {
  const char* what;
  Fault fault;
  const char* outcome;  // when an answer came
  CURLcode transport;
  bool takes_effect;
};

TEST_F(FaultTest, AnswersAreReplacedCutOrLost) {
  const Row rows[] = {
      {"refused",
       {.status = 503, .code = "service_unavailable"},
       "503 service_unavailable",
       CURLE_OK,
       false},
      {"answer lost",
       {.status = 500, .code = "internal_error", .commit = true},
       "500 internal_error",
       CURLE_OK,
       true},
      {"wrong JSON", {.status = 200, .body = "{\"fi"}, "200", CURLE_OK, false},
      {"body cut", {.cut_after = 3}, nullptr, CURLE_PARTIAL_FILE, false},
      {"body cut, done", {.cut_after = 3, .commit = true}, nullptr, CURLE_PARTIAL_FILE, true},
      {"request cut", {.cut_request_after = 5}, nullptr, CURLE_GOT_NOTHING, false},
      {"closed, done", {.cut_request_after = 0, .commit = true}, nullptr, CURLE_GOT_NOTHING, true},
      {"delayed", {.delay = milliseconds(20)}, "200", CURLE_OK, true},
  };
  for (const Row& row : rows) {
    AddText(emulator_.store(), "photos", row.what, "x");
    Fault fault = row.fault;
    fault.call = "b2_hide_file";
    emulator_.AddFault(fault);
    const Reply reply = Hide(row.what);
    EXPECT_EQ(reply.transport, row.transport) << row.what;
    if (row.outcome != nullptr) {
      EXPECT_EQ(reply.Outcome(), row.outcome) << row.what;
    }
    const bool visible = emulator_.store().Visible(bucket_.id, row.what) != nullptr;
    EXPECT_EQ(visible, !row.takes_effect) << row.what;
  }
  EXPECT_EQ(Hide("refused").Outcome(), "200");
}

TEST_F(FaultTest, SkippedRepeatedAndWithRetryAfter) {
  emulator_.AddFault({.call = "b2_hide_file", .status = 401, .code = "never"});
  emulator_.ClearFaults();
  emulator_.AddFault({.call = "b2_hide_file",
                      .skip = 1,
                      .times = 2,
                      .status = 429,
                      .code = "too_many_requests",
                      .retry_after = 7});
  AddText(emulator_.store(), "photos", "a", "x");
  EXPECT_EQ(Hide("a").Outcome(), "200");
  EXPECT_EQ(Hide("a").headers["retry-after"], "7");
  EXPECT_EQ(Download("b").status, 404);
  EXPECT_EQ(Hide("a").Outcome(), "429 too_many_requests");
  EXPECT_EQ(Hide("a").Outcome(), "400 already_hidden");
}

TEST_F(FaultTest, TransfersBreakOff) {
  const std::string bytes(3'000'000, 'x');
  AddText(emulator_.store(), "photos", "a", bytes);
  emulator_.AddFault({.call = "download_by_name", .cut_after = 1'500'000});
  const Reply cut = Download("a");
  EXPECT_EQ(cut.transport, CURLE_PARTIAL_FILE);
  EXPECT_EQ(cut.body.size(), 1'500'000U);

  const json target = UploadTarget();
  const Headers headers{"X-Bz-File-Name: b", "Content-Type: a/b",
                        "X-Bz-Content-Sha1: do_not_verify"};
  emulator_.AddFault({.call = "b2_upload_file", .cut_request_after = 100'000});
  EXPECT_NE(Upload(target, headers, bytes).transport, CURLE_OK);
  emulator_.AddFault({.call = "b2_upload_file", .status = 503, .code = "service_unavailable"});
  EXPECT_EQ(Upload(target, headers, bytes).Outcome(), "503 service_unavailable");
  EXPECT_EQ(VersionsText(), "a=" + bytes);
  EXPECT_EQ(Upload(target, headers, bytes).Outcome(), "200");
  EXPECT_EQ(emulator_.requests().back().body_bytes, bytes.size());
}

TEST_F(FaultTest, StallsUntilTheClientGivesUp) {
  AddText(emulator_.store(), "photos", "a", "0123456789");
  client_.SetTimeout(milliseconds(300));
  emulator_.AddFault({.call = "download_by_name", .stall = true});
  EXPECT_EQ(Download("a").transport, CURLE_OPERATION_TIMEDOUT);
  emulator_.AddFault({.call = "download_by_name", .stall = true, .cut_after = 4});
  const Reply reply = Download("a");
  EXPECT_EQ(reply.transport, CURLE_OPERATION_TIMEDOUT);
  EXPECT_EQ(reply.body, "0123");
}

TEST_F(FaultTest, TestModesMisbehaveByRule) {
  const Headers upload{"X-Bz-File-Name: a", "Content-Type: a/b", "X-Bz-Content-Sha1: do_not_verify",
                       "X-Bz-Test-Mode: fail_some_uploads"};
  const json target = UploadTarget();
  std::string statuses;
  for (int i = 0; i < 6; ++i) statuses += Upload(target, upload, "x").Outcome() + " ";
  EXPECT_EQ(statuses, "200 200 503 service_unavailable 200 200 503 service_unavailable ");

  Headers calls{"Authorization: " + token_, "X-Bz-Test-Mode: force_cap_exceeded"};
  const std::string url = "https://api001.backblazeb2.com/b2api/v1/";
  const auto send = [&](const char* call) {
    return client_.Send(url + call + "?bucketId=" + bucket_.id, calls).Outcome();
  };
  EXPECT_EQ(send("b2_get_upload_url"), "403 storage_cap_exceeded");
  calls[1] = "X-Bz-Test-Mode: expire_some_account_authorization_tokens";
  for (int i = 0; i < 4; ++i) EXPECT_EQ(send("b2_list_file_names"), "200");
  EXPECT_EQ(send("b2_list_file_names"), "401 expired_auth_token");
}

TEST_F(FaultTest, RequestsAreRecordedAndCounted) {
  emulator_.ClearRequests();
  const json fields{{"bucketId", bucket_.id}, {"fileName", "none"}};
  Call("b2_hide_file", fields);
  emulator_.AddFault({.status = 429, .code = "too_many_requests"});
  Call("b2_hide_file", fields);
  Download("none?x=1");
  const std::vector<Request> requests = emulator_.requests();
  std::string text;
  for (const Request& request : requests) {
    text += request.method + " " + request.host + request.target + " " + request.call + " " +
            std::to_string(request.status) + "\n";
  }
  // After the 400 the connection was closed; the download's host needs a tunnel of its own.
  EXPECT_EQ(text,
            "CONNECT api001.backblazeb2.comapi001.backblazeb2.com:443 CONNECT 200\n"
            "POST api001.backblazeb2.com/b2api/v1/b2_hide_file b2_hide_file 400\n"
            "CONNECT api001.backblazeb2.comapi001.backblazeb2.com:443 CONNECT 200\n"
            "POST api001.backblazeb2.com/b2api/v1/b2_hide_file b2_hide_file 429\n"
            "CONNECT f001.backblazeb2.comf001.backblazeb2.com:443 CONNECT 200\n"
            "GET f001.backblazeb2.com/file/photos/none?x=1 download_by_name 404\n");
  EXPECT_EQ(requests[3].body, fields.dump());
  EXPECT_EQ(requests[3].body_bytes, fields.dump().size());
  EXPECT_EQ(requests[5].Header("authorization"), token_);
  emulator_.RecordRequests(false);
  Download("none");
  EXPECT_EQ(emulator_.requests().size(), 6U);
  EXPECT_EQ(emulator_.Count("download_by_name"), 2U);
}

TEST_F(FaultTest, ControlHostSteersFromOutside) {
  const std::string host = "https://control.backblazeb2.com";
  const auto control = [&](const char* method, const std::string& path,
                           const std::optional<std::string>& body = {}) {
    return client_.Send(host + path, {}, body, method);
  };
  client_.Send(host + "/requests", {}, {}, "DELETE");
  EXPECT_EQ(control("POST", "/faults", R"([{"call": "b2_hide_file", "status": 500, "code": "a",
            "retryAfter": 3, "delayMilliseconds": 1}, {"cutRequestAfter": 0, "times": -1}])")
                .Json()["added"],
            2);
  EXPECT_EQ(Hide("a").headers["retry-after"], "3");
  EXPECT_EQ(Hide("a").transport, CURLE_GOT_NOTHING);
  EXPECT_EQ(control("DELETE", "/faults").status, 200);
  Start("open");
  EXPECT_EQ(Hide("a").Outcome(), "400 no_such_file");
  const json counts = control("GET", "/counts").Json();
  // curl repeats a request once when a kept connection dies without an answer.
  EXPECT_EQ(counts["calls"]["b2_hide_file"], 4);
  EXPECT_EQ(counts["openLargeFiles"], 1);
  std::string statuses;
  for (const json& request : control("GET", "/requests").Json()) {
    if (request["call"] != "CONNECT") statuses += request["status"].dump() + " ";
  }
  EXPECT_EQ(statuses, "500 0 0 400 ");
  EXPECT_EQ(control("POST", "/expire", "").status, 200);
  EXPECT_EQ(Hide("a").Outcome(), "401 expired_auth_token");
  EXPECT_EQ(control("POST", "/latency", R"({"milliseconds": 60})").status, 200);
  const auto begin = std::chrono::steady_clock::now();
  Download("a");
  EXPECT_GE(std::chrono::steady_clock::now() - begin, milliseconds(60));
  EXPECT_EQ(control("POST", "/faults", "{").Outcome(), "400 bad_json");
  EXPECT_EQ(control("POST", "/faults", R"({"status": "x"})").Outcome(), "400 bad_json");
  EXPECT_EQ(control("GET", "/nothing").Outcome(), "404 not_found");
}

}  // namespace
}  // namespace emulator
