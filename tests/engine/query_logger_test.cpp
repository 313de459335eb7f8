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

std::shared_ptr<char> Block(const char* text) { return {strdup(text), std::free}; }

_CURLRTN Result(const char* headers, const char* body) {
  _CURLRTN result = Answer(200);
  result.headerSize = static_cast<long>(std::strlen(headers));
  result.headerBlock = Block(headers);
  result.bodyLength = static_cast<int>(std::strlen(body));
  result.body = Block(body);
  result.curl = std::make_shared<FakeRequest>();
  return result;
}

class LogBinding {
 public:
  explicit LogBinding(RecordingLog& log) { logger = &log; }
  ~LogBinding() { logger = nullptr; }
  LogBinding(const LogBinding&) = delete;
  LogBinding& operator=(const LogBinding&) = delete;
};

}  // namespace

TEST(QueryLoggerTest, EachKindWritesItsFormatAndNothingForEmptyResults) {
  RecordingLog log;
  const LogBinding binding(log);
  const std::string headers = compress_string("\n\nH", 3, -1);
  const std::string body = compress_string("\n\nB", 3, -1);
  const std::string bare_headers = compress_string("H", 1, -1);
  const std::string bare_body = compress_string("B", 1, -1);
  struct Row {
    std::shared_ptr<IQueryLogger> kind;
    const char *headers, *body;
    std::string line;
  };
  const Row rows[] = {
      {std::make_shared<HeaderLog>(), "H", "B", "1 [PROTOCOL  ] Call >>\n" + headers},
      {std::make_shared<HeaderLog>(), "", "B", ""},
      {std::make_shared<BodyLog>(), "H", "B", "1 [PROTOCOL  ] Call >> \n" + body},
      {std::make_shared<BodyLog>(), "H", "", ""},
      {std::make_shared<FullLog>(), "H", "B",
       "1 [PROTOCOL  ] Call >>\n" + bare_headers + "\n" + bare_body},
      {std::make_shared<FullLog>(), "", "B", "1 [PROTOCOL  ] Call >>\n\n" + bare_body},
      {std::make_shared<FullLog>(), "H", "", "1 [PROTOCOL  ] Call >>\n" + bare_headers},
      {std::make_shared<FullLog>(), "", "", ""},
  };
  for (const Row& row : rows) {
    _CURLRTN result = Result(row.headers, row.body);
    row.kind->DoLog("Call", result);
    const auto lines = log.Take();
    EXPECT_EQ(lines.empty() ? "" : lines[0], row.line);
  }
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
