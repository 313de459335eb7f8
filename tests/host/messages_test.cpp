#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>

#include "host/local/stream_writer.h"
#include "host/plugin/answer.h"
#include "host/terminal/text_format.h"
#include "protocol/log_lines.h"

namespace b2drive {
namespace {

using LogLine = std::pair<LOGLEVEL, std::string>;

template <typename... Values>
LogLine Line(LOGLEVEL level, const char* format, Values... values) {
  char text[256];
  snprintf(text, sizeof text, format, values...);
  return {level, text};
}
LogLine Status(const char* name, int number) {
  return Line(LOGLEVEL_INFO, log_lines::kAnswer, name, "HTTPS", "POST", number,
              "https://h/x >> 7(1) - 3ms", 12, 3);
}
LogLine Treated(const char* name, const char* text, int code) {
  return Line(LOGLEVEL_TRACE, log_lines::kNoAnswerTreated, name, text, code, "AERROR::X");
}

TEST(Answer, IsTheOneThatExplainsTheFailure) {
  const auto failure =
      Line(LOGLEVEL_ERROR, log_lines::kNoAnswer, query::kRead, "no CA (path?)", 77);
  const auto listed = Status(query::kListObjects, 200), refused = Status(query::kListObjects, 401);
  const std::tuple<std::vector<LogLine>, int, const char*> rows[] = {
      {{}, 0, ""},
      {{listed}, 200, ""},
      {{refused, {LOGLEVEL_ERROR, "[PROTOCOL  ] Read >> HTTP 404"}}, 401, ""},
      {{listed, failure}, 0, "no CA (path?)(77)"},
      {{Treated(query::kRead, "Timeout was reached", 28), listed}, 200, ""},
      {{Treated(query::kUploadUrl, "Timeout was reached", 28)}, 0, "Timeout was reached(28)"},
      {{refused, Treated(query::kUploadSingle, "Failed initialization", 2)}, 401, ""},
      {{refused, Status(query::kCancelLargeFile, 200)}, 401, ""},
      {{failure, Treated(query::kCancelLargeFile, "late", 28)}, 0, "no CA (path?)(77)"},
      {{Status(query::kCancelLargeFile, 503), Status(query::kCancelLargeFile, 403)}, 403, ""},
      // Neither is an answer.
      {{refused, {LOGLEVEL_INFO, "[PROTOCOL  ] Upload id [b], name [a >> HTTPS POST >> 500 : u("}},
       401,
       ""},
      {{refused, {LOGLEVEL_INFO, "[PROTOCOL  ] Read >> HTTPS PUT >> 500 : u(1) - 3ms"}}, 401, ""}};
  for (const auto& [lines, status, transport] : rows) {
    Answer answer;
    for (const auto& [level, line] : lines) ReadAnswer(level, line, answer);
    EXPECT_EQ(answer.status, status) << testing::PrintToString(lines);
    EXPECT_EQ(answer.transport, transport) << testing::PrintToString(lines);
  }
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

TEST(StreamWriter, ReplacesARepeatedStartAndGivesUpWhereItCouldOnlyWriteWrongBytes) {
  using Pieces = std::vector<std::pair<std::uint64_t, std::string>>;  // at offsets
  const std::tuple<Pieces, int, std::string> rows[] = {
      {{{0, "{\"status\":429}"}, {0, "abc"}, {3, "de"}}, 0, "abcde"},
      {{{0, "abc"}, {5, "x"}}, EILSEQ, "abc"},
      {{{0, "abc"}, {3, "def"}, {0, "abc"}}, EILSEQ, "abcdef"}};
  for (const auto& [pieces, result, expected] : rows) {
    const std::unique_ptr<FILE, decltype(&fclose)> file(tmpfile(), fclose);
    StreamWriter writer(fileno(file.get()));
    int last = 0;
    for (const auto& [offset, text] : pieces) {
      last = writer.Write(offset, text.data(), text.size());
    }
    EXPECT_EQ(last, result) << expected;
    EXPECT_EQ(writer.Finish(), 0);
    std::string written(100, ' ');
    rewind(file.get());
    written.resize(fread(written.data(), 1, written.size(), file.get()));
    EXPECT_EQ(written, expected);
  }
}

}  // namespace
}  // namespace b2drive
