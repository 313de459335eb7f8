#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <sstream>

#include "host/cli/progress.h"
#include "host/patient/refusal_limit.h"
#include "host/plugin/answer.h"
#include "host/plugin/body_decoder.h"
#include "host/plugin/body_log.h"
#include "host/plugin/host_log.h"
#include "host/plugin/service_failure.h"
#include "host/terminal/text_format.h"
#include "protocol/log_lines.h"

namespace b2drive {
namespace {

// A line of the module's log.
template <typename... Values>
std::pair<LOGLEVEL, std::string> Line(LOGLEVEL level, const char* format, Values... values) {
  char text[256];
  snprintf(text, sizeof text, format, values...);
  return {level, text};
}

TEST(Answer, IsTheOneThatExplainsTheFailure) {
  const auto status = [](const char* name, int number) {
    return Line(LOGLEVEL_INFO, log_lines::kAnswer, name, "HTTPS", "POST", number,
                "https://h/x >> 7(1) - 3ms", 12, 3);
  };
  const auto failure = [](const char* name, const char* text, int code) {
    return Line(LOGLEVEL_ERROR, log_lines::kNoAnswer, name, text, code);
  };
  const auto treated = [](const char* name, const char* text, int code) {
    return Line(LOGLEVEL_TRACE, log_lines::kNoAnswerTreated, name, text, code, "AERROR::X");
  };
  const auto listed = status(query::kListObjects, 200);
  const auto refused = status(query::kListObjects, 401);
  struct Row {
    std::vector<std::pair<LOGLEVEL, std::string>> lines;
    int status;
    const char* transport;
  };
  std::vector<Row> rows{
      {{}, 0, ""},
      {{listed}, 200, ""},
      {{refused, {LOGLEVEL_ERROR, "[PROTOCOL  ] Read >> HTTP 404"}}, 401, ""},
      {{listed, failure(query::kRead, "no CA (path?)", 77)}, 0, "no CA (path?)(77)"},
      {{treated(query::kRead, "Timeout was reached", 28), listed}, 200, ""},
      {{treated(query::kUploadUrl, "Timeout was reached", 28)}, 0, "Timeout was reached(28)"},
      {{refused, treated(query::kUploadSingle, "Failed initialization", 2)}, 401, ""},
      {{refused, status(query::kCancelLargeFile, 200)}, 401, ""},
  };
  // Neither is an answer, whatever its level.
  for (const char* text : {"[PROTOCOL  ] Upload id [b], name [a >> HTTPS POST >> 500 : u(1) - 3ms]",
                           "[PROTOCOL  ] Read >> HTTPS PUT >> 500 : u(1) - 3ms"}) {
    for (LOGLEVEL level : {LOGLEVEL_TRACE, LOGLEVEL_INFO, LOGLEVEL_ERROR}) {
      rows.push_back({{refused, {level, text}}, 401, ""});
    }
  }
  for (const Row& row : rows) {
    Answer answer;
    for (const auto& [level, line] : row.lines) ReadAnswer(level, line, answer);
    EXPECT_EQ(answer.status, row.status) << testing::PrintToString(row.lines);
    EXPECT_EQ(answer.transport, row.transport) << testing::PrintToString(row.lines);
  }
}

TEST(Errors, SayWhatHappenedAndExitAccordingly) {
  const std::tuple<AERROR, int, const char*, ExitCode, const char*> rows[] = {
      {FAILED, 418, "", ExitCode::kFailed, "answered 418: it does not accept"},
      {FAILED, 200, "", ExitCode::kFailed, "makes no sense (AERROR::FAILED)"},
      {TIMEDOUT, 0, "x(28)", ExitCode::kNetwork, "did not answer in time"},
      {SHARING_VIOLATION, 200, "", ExitCode::kFailed, "p: changed meanwhile"}};
  for (const auto& [code, status, transport, exit_code, text] : rows) {
    const HostError error = ServiceFailure("p", code, {status, transport, 0});
    EXPECT_EQ(error.exit_code(), exit_code) << text;
    EXPECT_NE(std::string(error.what()).find(text), std::string::npos) << error.what();
  }
}

TEST(TextFormat, WritesSizesAndRatesForPeople) {
  for (const auto& [bytes, text] : std::initializer_list<std::pair<double, const char*>>{
           {0, "0 B"}, {999.5, "1.0 kB"}, {9949, "9.9 kB"}, {9951, "10 kB"}, {5e18, "5000 PB"}}) {
    EXPECT_EQ(FormatBytes(bytes), text);
  }
  EXPECT_EQ(FormatDuration(3723), "1:02:03");
  EXPECT_EQ(ProgressLine("name", 500, 1000, 100, 80),
            "name                50% [==========          ]   500 B     100 B/s    "
            "0:05 left");
  EXPECT_EQ(ProgressLine("name", 2000, 0, 0, 30).size(), 29u);
  EXPECT_NE(ProgressLine("name", 10, 1000, 0, 100).find("-:-- left"), std::string::npos);
}

TEST(TextFormat, EscapesWhatCouldDeceiveOnATerminal) {
  for (const char* kept : {"", "a b~", "\xC3\xA4", "\xE2\x82\xAC", "\xF0\x9F\x98\x80",
                           "\xD9\x85\xE2\x80\x8C\xD9\x85"}) {  // a joiner between letters
    EXPECT_EQ(EscapeControls(kept), kept);
  }
  for (const char* hidden : {"\x1B", "\x7F", "\xC2\x9B", "\xD8\x9C", "\xE2\x80\x8B", "\xE2\x80\x8E",
                             "\xE2\x80\xA8", "\xE2\x80\xAE", "\xE2\x81\xA6", "\xEF\xBB\xBF",
                             "\xF3\xA0\x81\x81", "\x9B", "\xE2\x82", "\xED\xA0\x80"}) {
    const std::string escaped = EscapeControls(std::string("a") + hidden + "b");
    EXPECT_EQ(escaped.size(), 2 + 4 * std::string(hidden).size()) << escaped;
    EXPECT_TRUE(escaped.starts_with("a\\x") && escaped.ends_with("b")) << escaped;
  }
}

TEST(RefusalLimit, GivesATransferUpForItsLastRefusal) {
  const std::tuple<int, int, bool, bool> rows[] = {
      {200, 0, false, false}, {400, 0, false, false}, {500, 0, false, true}, {401, 10, true, true}};
  for (const auto& [status, retries, canceled, given_up] : rows) {
    Transfers transfers;
    ActiveTransfer transfer(transfers, "p");
    if (canceled) transfers.pauses().Cut();
    RefusalLimit limit(transfer, Attempts(retries, transfers.pauses()));
    HostLog log(false, nullptr);
    const std::string line = "[PROTOCOL  ] UploadUsingPost >> https POST >> " +
                             std::to_string(status) + " : https://h/x(0) - 1ms";
    std::va_list none{};
    log.Log(LOGLEVEL_INFO, line.c_str(), none);
    EXPECT_EQ(limit.last_straw().value_or(Answer{}).status, given_up ? status : 0);
    EXPECT_EQ(transfer.state().state == TRANSFER_CANCELED, given_up) << status;
  }
}

TEST(BodyDecoder, MakesBodiesReadableAndKeepsTheRest) {
  // "hello hello hello" deflated, without the zlib header.
  const std::string hex = "CB48CDC9C957C84090003A2E067D";
  std::istringstream log("t TRACE [PROTOCOL  ] List >> \n" + hex + "\nABBA\nt INFO other\nABBA\n");
  std::ostringstream out;
  EXPECT_EQ(DecodeBodyLog(log, out), 1);
  EXPECT_EQ(out.str(),
            "t TRACE [PROTOCOL  ] List >> \nhello hello "
            "hello\nABBA\nt INFO other\nABBA\n");
  for (const char* damaged : {"", "CB4", "XY", "CB48CDC9C957"}) {
    EXPECT_EQ(InflateBody(damaged), std::nullopt) << damaged;
  }
}

}  // namespace
}  // namespace b2drive
