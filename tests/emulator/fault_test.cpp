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
  const char* outcome;  // "0" when no answer came
  CURLcode transport;
  bool takes_effect;
};

TEST_F(FaultTest, AnswersAreReplacedCutOrLost) {
  const Row rows[] = {
      {"refused", {.status = 503, .code = "busy"}, "503 busy", CURLE_OK, false},
      {"answer lost", {.status = 500, .code = "a", .commit = true}, "500 a", CURLE_OK, true},
      {"wrong JSON", {.status = 200, .body = "{\"fi"}, "200", CURLE_OK, false},
      {"body cut", {.cut_after = 3}, "200", CURLE_PARTIAL_FILE, false},
      {"body cut, done", {.cut_after = 3, .commit = true}, "200", CURLE_PARTIAL_FILE, true},
      {"request cut", {.cut_request_after = 5}, "0", CURLE_GOT_NOTHING, false},
      {"closed, done", {.cut_request_after = 0, .commit = true}, "0", CURLE_GOT_NOTHING, true},
      {"delayed", {.delay = milliseconds(20)}, "200", CURLE_OK, true},
  };
  for (const Row& row : rows) {
    AddText(store(), "photos", row.what, "x");
    Fault fault = row.fault;
    fault.call = "b2_hide_file";
    emulator_.AddFault(fault);
    const Reply reply = Hide(row.what);
    EXPECT_EQ(reply.transport, row.transport) << row.what;
    EXPECT_EQ(reply.Outcome(), row.outcome) << row.what;
    const bool visible = store().Visible(bucket_.id, row.what) != nullptr;
    EXPECT_EQ(visible, !row.takes_effect) << row.what;
  }
  EXPECT_EQ(Hide("refused").Outcome(), "200");
}

TEST_F(FaultTest, SkippedRepeatedAndWithRetryAfter) {
  AddText(store(), "photos", "a", "x");
  Fault fault{.call = "b2_hide_file", .skip = 1, .times = 2, .status = 429, .code = "a"};
  fault.retry_after = 7;
  emulator_.AddFault(fault);
  EXPECT_EQ(Hide("a").Outcome(), "200");
  EXPECT_EQ(Hide("a").headers["retry-after"], "7");
  EXPECT_EQ(Download("b").status, 404);
  EXPECT_EQ(Hide("a").Outcome(), "429 a");
  EXPECT_EQ(Hide("a").Outcome(), "400 already_hidden");
}

TEST_F(FaultTest, RealAnswersAreSpoilt) {
  for (const char* name : {"a", "b", "c"}) AddText(store(), "photos", name, "0123");
  const std::string id = AllVersions(store(), "photos")[1]->Id();
  const std::string b = R"("b")" + id, aa = R"("aa")" + id;
  const std::tuple<const char*, json, std::string> rows[] = {
      {"b2_list_file_names", {{"maxFileCount", 1}}, R"("a")"},
      {"b2_list_file_names", {{"startFileName", "bb"}}, R"("bb")"},
      {"b2_list_file_names", {{"prefix", "nothing"}}, "null"},
      {"b2_list_file_versions", {{"startFileName", "b"}}, b},
      {"b2_list_file_versions", {{"startFileName", "aa"}, {"startFileId", id}}, aa}};
  for (auto [call, fields, next] : rows) {
    emulator_.AddFault({.call = call, .repeat_cursor = true});
    fields["bucketId"] = bucket_.id;
    const json page = Call(call, fields).Json();
    EXPECT_EQ(page["nextFileName"].dump() + page.value("nextFileId", ""), next);
  }
  emulator_.AddFault({.replace = {{": 4", ": 5"}, {"\"b\"", "\"bb\""}}});
  const json file = Call("b2_get_file_info", {{"fileId", id}}).Json();
  EXPECT_EQ(file["fileName"].dump() + file["contentLength"].dump(), "\"bb\"5");

  const Headers range{"Range: bytes=1-2"};
  emulator_.AddFault({.replace = {{"0", "1"}}, .ignore_range = true});
  EXPECT_EQ(Download("a", range).body, "0123");
  EXPECT_EQ(Download("a", range).body, "12");
  emulator_.AddFault({.status = 302, .location = "http://elsewhere/"});
  EXPECT_EQ(Download("a").headers["location"], "http://elsewhere/");
}

TEST_F(FaultTest, ZippedBlanksGoToThoseWhoCanUnpackThem) {
  AddText(store(), "photos", "a", "x");
  constexpr size_t kSizes[] = {2, 1000, (3 << 20) + 5};
  for (const size_t size : kSizes) emulator_.AddFault({.gzip_blanks = size});
  client_.AcceptGzip();
  for (const size_t size : kSizes) {
    EXPECT_EQ(Hide("a").body, "{" + std::string(size - 2, ' ') + "}");
  }
  emulator_.AddFault({.gzip_blanks = 2});
  EXPECT_EQ(Client(emulator_).Send("https://f001.backblazeb2.com/file/photos/a").status, 401);
  EXPECT_EQ(Hide("a").Json()["action"], "hide");
}

TEST_F(FaultTest, BodiesDrip) {
  const std::string text(100'000, 'x');
  AddText(store(), "photos", "a", text);
  const json target = UploadTarget();
  emulator_.AddFault({.drip = 5'000'000});
  EXPECT_EQ(Download("a").body, text);
  emulator_.AddFault({.drip_request = 5'000'000});
  EXPECT_EQ(UploadFile(target, "quick", text).Outcome(), "200");
  EXPECT_EQ(ReadText(store(), "photos", "quick"), text);

  client_.SetTimeout(milliseconds(300));
  emulator_.AddFault({.drip = 1});
  EXPECT_EQ(Download("a").transport, CURLE_OPERATION_TIMEDOUT);
  emulator_.AddFault({.drip_request = 1});
  EXPECT_EQ(UploadFile(target, "slow", "text").transport, CURLE_OPERATION_TIMEDOUT);
}

TEST_F(FaultTest, AnotherClientActsAtTheSecondRequest) {
  for (const char* text : {"old", "new"}) AddText(store(), "photos", "a", text);
  AddText(store(), "photos", "ab", "other");
  HideFile(store(), "photos", "a");
  Start("a");
  EXPECT_EQ(Versions(store(), "photos", "a"),
            (std::vector<std::string>{kUnfinished, kHidden, "new", "old"}));
  emulator_.OnRequest([&](const Request& request) {
    if (emulator_.Count(request.call) == 2) DeleteVersions(store(), "photos", "a");
  });
  EXPECT_EQ(Hide("a").Outcome(), "400 already_hidden");
  EXPECT_EQ(Hide("a").Outcome(), "400 no_such_file");
  emulator_.OnRequest({});
  EXPECT_EQ(VersionsText(), "ab=other");
}

TEST_F(FaultTest, TestModesMisbehaveByRule) {
  const Headers mode{"X-Bz-Test-Mode: fail_some_uploads"};
  const json target = UploadTarget();
  std::string statuses;
  for (int i = 0; i < 6; ++i) statuses += UploadFile(target, "a", "x", mode).Outcome() + " ";
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

TEST_F(FaultTest, ControlHostSteersFromOutside) {
  const auto control = [&](const char* method, const std::string& path,
                           const std::optional<std::string>& body = {}) {
    return client_.Send("https://control.backblazeb2.com" + path, {}, body, method);
  };
  control("DELETE", "/requests");
  EXPECT_EQ(control("POST", "/faults", R"([{"call": "b2_hide_file", "status": 500, "code": "a",
            "retryAfter": 3, "delayMilliseconds": 1, "location": "b", "replace": [["c", "d"]],
            "repeatCursor": true, "ignoreRange": true, "drip": 9999, "dripRequest": 9999},
            {"cutRequestAfter": 0, "times": -1}])")
                .Json()["added"],
            2);
  EXPECT_EQ(Hide("a").headers["retry-after"], "3");
  EXPECT_EQ(Hide("a").transport, CURLE_GOT_NOTHING);
  EXPECT_EQ(control("DELETE", "/faults").status, 200);
  Start("open");
  EXPECT_EQ(Hide("a").Outcome(), "400 no_such_file");
  std::string statuses;
  for (const json& request : control("GET", "/requests").Json()) {
    if (request["call"] != "CONNECT") statuses += request["status"].dump() + " ";
  }
  // curl repeats a request once when a kept connection dies without an answer.
  EXPECT_EQ(statuses, "500 0 0 400 ");
  const json counts = control("GET", "/counts").Json();
  EXPECT_EQ(counts["calls"]["b2_hide_file"], 4);
  EXPECT_EQ(counts["openLargeFiles"], 1);
  EXPECT_EQ(control("POST", "/expire", "").status, 200);
  EXPECT_EQ(Hide("a").Outcome(), "401 expired_auth_token");
  EXPECT_EQ(control("POST", "/latency", R"({"milliseconds": 60})").status, 200);
  const auto begin = std::chrono::steady_clock::now();
  Download("a");
  EXPECT_GE(std::chrono::steady_clock::now() - begin, milliseconds(60));
  EXPECT_EQ(control("GET", "/nothing").Outcome(), "404 not_found");
}

}  // namespace
}  // namespace emulator
