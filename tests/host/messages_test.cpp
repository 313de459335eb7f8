#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <sstream>

#include "host/answer.h"
#include "host/body_decoder.h"
#include "host/body_log.h"
#include "host/errors.h"
#include "host/progress.h"
#include "host/text_format.h"
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
      {{refused, failure(query::kCancelLargeFile, "no server", 7)}, 401, ""},
  };
  // None of these is an answer, whatever its level.
  for (const char* text :
       {"[PROTOCOL  ] Upload id [b], name [a >> b >> 500 c]",
        "[PROTOCOL  ] Upload id [b], name [a >> HTTPS POST >> 500 : u(1) - 3ms]",
        "[PROTOCOL  ] Read [f >> x(7)", "[PROTOCOL  ] Read [f >> x(7) treat as y",
        "[PROTOCOL  ] _GetFileInfo id [Read >> HTTPS GET >> 500 : u(1) - 3ms]",
        "[NETWORK   ] Read >> HTTPS GET >> 500 : u(1) - 3ms", "Read >> HTTPS GET >> 500 : u",
        "[PROTOCOL  ] Read >> FTP GET >> 500 : u(1) - 3ms", "[PROTOCOL  ] Read >> \n5F(7",
        "[PROTOCOL  ] Read >> HTTPS PUT >> 500 : u(1) - 3ms", "[PROTOCOL  ] Read >> x()",
        "[PROTOCOL  ] Read >> ON HTTP 404 : AERROR::FAILED(0x00000001)",
        "[PROTOCOL  ] Read >> ON HTTP RANGE 200(200) : AERROR::FAILED(0x00000001)",
        "[PROTOCOL  ] Read >> 5 time(s) backoff left", "[PROTOCOL  ] Read >>", ""}) {
    for (LOGLEVEL level : {LOGLEVEL_TRACE, LOGLEVEL_INFO, LOGLEVEL_WARNING, LOGLEVEL_ERROR}) {
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
  struct Row {
    AERROR code;
    Answer answer;
    ExitCode exit_code;
    const char* text;
  };
  for (const Row& row : std::vector<Row>{
           {FILE_NOT_FOUND, {}, ExitCode::kNotFound, "p: not found (AERROR::FILE_NOT_FOUND)"},
           {FAILED,
            {401, "", false},
            ExitCode::kAccessDenied,
            "answered 401: check the application key"},
           {ACCESS_VIOLATION, {0, "no host(6)", false}, ExitCode::kNetwork, "reached: no host(6);"},
           {FAILED, {418, "", false}, ExitCode::kFailed, "answered 418: it does not accept"},
           {FAILED, {502, "", false}, ExitCode::kFailed, "answered 502: an error of the service"},
           {FAILED, {200, "", false}, ExitCode::kFailed, "makes no sense (AERROR::FAILED)"},
           {TIMEDOUT, {0, "x(28)", false}, ExitCode::kNetwork, "did not answer in time"},
           {READ_CANCELED, {200, "", false}, ExitCode::kInterrupted, "canceled"},
       }) {
    HostError error = ServiceFailure("p", row.code, row.answer);
    EXPECT_EQ(error.exit_code(), row.exit_code) << row.text;
    EXPECT_NE(std::string(error.what()).find(row.text), std::string::npos) << error.what();
  }
}

TEST(Errors, ExitCodesAreDistinct) {
  std::set<ExitCode> codes;
  for (const ExitCodeText& row : ExitCodes()) EXPECT_TRUE(codes.insert(row.code).second);
}

TEST(TextFormat, WritesSizesAndTimesForPeople) {
  EXPECT_EQ(FormatBytes(0), "0 B");
  EXPECT_EQ(FormatBytes(999), "999 B");
  EXPECT_EQ(FormatBytes(999.5), "1.0 kB");
  EXPECT_EQ(FormatBytes(9949), "9.9 kB");
  EXPECT_EQ(FormatBytes(9951), "10 kB");
  EXPECT_EQ(FormatBytes(999'500), "1.0 MB");
  EXPECT_EQ(FormatBytes(5e18), "5000 PB");
  EXPECT_EQ(FormatDuration(-1), "-:--");
  EXPECT_EQ(FormatDuration(59), "0:59");
  EXPECT_EQ(FormatDuration(3723), "1:02:03");
  EXPECT_EQ(EscapeControls("a\x1B[2J\xC2\x9B\x7F\xC3\xA4\xC2"),
            "a\\x1b[2J\\xc2\\x9b\\x7f\xC3\xA4\xC2");
}

TEST(ProgressLine, ShowsShareRateAndTimeLeftWithinTheColumns) {
  EXPECT_EQ(ProgressLine("name", 500, 1000, 100, 80),
            "name                50% [==========          ]   500 B     100 B/s    "
            "0:05 left");
  EXPECT_EQ(ProgressLine("name", 2000, 0, 0, 30).size(), 29u);
  EXPECT_NE(ProgressLine("name", 10, 1000, 0, 100).find("-:-- left"), std::string::npos);
}

TEST(BodyDecoder, MakesBodiesReadableAndKeepsTheRest) {
  // "hello hello hello" deflated, without the zlib header.
  const std::string hex = "CB48CDC9C957C84090003A2E067D";
  EXPECT_TRUE(IsBodyLine("[PROTOCOL  ] List >> \n" + hex));
  EXPECT_FALSE(IsBodyLine("[PROTOCOL  ] List >> Exception"));
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
