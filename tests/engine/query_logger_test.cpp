#include "engine/query_logger.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <thread>

#include "protocol/log.h"
#include "tests/engine/fake_pool.h"
#include "tests/support/recording_log.h"
#include "util/compression.h"

namespace {

_CURLRTN Result(const char* headers, const char* body) {
  const auto block = [](const char* text) {
    return std::shared_ptr<char>(strdup(text), std::free);
  };
  _CURLRTN result = Answer(200);
  result.headerSize = static_cast<long>(std::strlen(headers));
  result.headerBlock = block(headers);
  result.bodyLength = static_cast<int>(std::strlen(body));
  result.body = block(body);
  result.curl = std::make_shared<FakeRequest>();
  return result;
}

std::string Hex(const std::string& text) { return compress_string(text.data(), text.size(), -1); }

}  // namespace

TEST(QueryLoggerTest, EachKindWritesItsFormatAndNothingForEmptyResults) {
  RecordingLog log;
  logger = &log;
  const auto header = std::make_shared<HeaderLog>();
  const auto body = std::make_shared<BodyLog>();
  const auto full = std::make_shared<FullLog>();
  struct Row {
    std::shared_ptr<IQueryLogger> kind;
    const char *headers, *body;
    std::string line;
  };
  const Row rows[] = {
      {header, "H", "B", ">>\n" + Hex("\n\nH")},
      {header, "", "B", ""},
      {body, "H", "B", ">> \n" + Hex("\n\nB")},
      {body, "H", "", ""},
      {full, "H", "B", ">>\n" + Hex("H") + "\n" + Hex("B")},
      {full, "", "B", ">>\n\n" + Hex("B")},
      {full, "H", "", ">>\n" + Hex("H")},
      {full, "", "", ""},
  };
  for (const Row& row : rows) {
    _CURLRTN result = Result(row.headers, row.body);
    row.kind->DoLog("Call", result);
    const auto lines = log.Take();
    const std::string expected = row.line.empty() ? "" : "1 [PROTOCOL  ] Call " + row.line;
    EXPECT_EQ(lines.empty() ? "" : lines[0], expected);
  }
  logger = nullptr;
}

TEST(QueryLoggerTest, BindingIsPerThreadEndsWithTheQueryAndOwnsNothing) {
  auto kind = std::make_shared<BodyLog>();
  BindQueryLogger(kind);
  EXPECT_EQ(GetQueryLogger(), kind);
  std::thread([] { EXPECT_EQ(GetQueryLogger(), nullptr); }).join();

  FakePool pool;
  const auto send = [](const std::shared_ptr<FakeRequest>&) { return Answer(200); };
  QueryWithBackoff<NoBackoff>(pool, Performer<FakeRequest>{send, "Call"}, {}, {}, {});
  EXPECT_EQ(GetQueryLogger(), nullptr);

  BindQueryLogger(kind);
  kind.reset();
  EXPECT_EQ(GetQueryLogger(), nullptr);
}
