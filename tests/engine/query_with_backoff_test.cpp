#include "engine/query_with_backoff.h"

#include <gtest/gtest.h>

#include <set>
#include <stdexcept>
#include <thread>

#include "http/curl_impl.h"
#include "protocol/log.h"
#include "tests/support/recording_log.h"

namespace {

using RequestPtr = std::shared_ptr<CURLImpl>;

// Like ExponentialBackoff, but without the waits.
class CountingBackoff : public ExponentialBackoff {
 public:
  AERROR Backoff() override {
    --left;
    return outcome;
  }
  bool IsAvaliable() override { return left > 0; }
  int GetLeft() override { return left; }

  int left = 5;
  static inline AERROR outcome = AERROR::RETRY;
};

class QueryTest : public testing::Test {
 protected:
  QueryTest() { logger = &log; }
  ~QueryTest() override {
    logger = nullptr;
    EXPECT_LE(lent.size(), 1U) << "a request went back to its pool after each attempt";
  }

  AERROR Run(Performer<CURLImpl> performer, HandlerMap code = {}, HandlerMap range = {}) {
    return QueryWithBackoff<CountingBackoff>(pool, std::move(performer), std::move(range),
                                             std::move(code), {{28, AERROR::TIMEDOUT}});
  }

  // Statuses, or libcurl's codes below zero, one by one and the last again and again.
  Performer<CURLImpl> Gives(std::vector<int> answers) {
    attempts = 0;
    return {[this, answers = std::move(answers)](const RequestPtr& request) {
              lent.insert(request);
              const int answer = answers[std::min(attempts++, answers.size() - 1)];
              _CURLRTN result;
              result.code = std::max(-answer, 0);
              result.httpCode = std::max(answer, 0);
              return result;
            },
            "Call"};
  }

  ResultHandler Says(AERROR outcome) {
    return {[this, outcome](_CURLRTN& result) {
              ++handled;
              EXPECT_TRUE(lent.contains(result.curl));
              return outcome;
            },
            ""};
  }

  bool Logged(const std::string& level, const std::string& line) {
    return log.Contains(level + " [PROTOCOL  ] Call >> " + line);
  }

  RecordingLog log;
  CURLQueue<CURLImpl> pool;
  std::set<RequestPtr> lent;
  std::size_t attempts = 0;
  int handled = 0;
};

TEST_F(QueryTest, HandlerIsExactThenAnyThenRangeThenDefault) {
  struct Row {
    int status, exact, range;  // the keys of handlers; 0: none
    AERROR outcome;
    const char *level, *line;
  };
  const Row rows[] = {
      {404, 404, 400, AERROR::CANCEL, "8", "ON HTTP 404 : AERROR::CANCEL(0x00000003)"},
      {403, -1, 400, AERROR::TIMEDOUT, "8", "ON HTTP(for any code) 403 : AERROR::TIMEDOUT(0x"},
      {206, 404, 200, AERROR::SUCCESS, "1", "ON HTTP RANGE 200(206) : AERROR::SUCCESS(0x0"},
      {399, 0, 400, AERROR::SUCCESS, "2", ""},
      {400, 0, 0, AERROR::FAILED, "8", "HTTP 400"},
      {-28, -1, 0, AERROR::TIMEDOUT, "1", "Timeout was reached(28) treat as AERROR::TIMEDOUT"},
      {-7, -1, 0, AERROR::FAILED, "8", "Couldn't connect to server(7)"},
  };
  for (const Row& row : rows) {
    const ResultHandler handler = Says(row.outcome);
    EXPECT_EQ(Run(Gives({row.status}), {{row.exact, handler}}, {{row.range, handler}}),
              row.outcome);
    EXPECT_TRUE(Logged(row.level, row.line)) << row.line;
    EXPECT_EQ(attempts, 1U);
    log.Take();
  }
  EXPECT_EQ(handled, 3);
}

TEST_F(QueryTest, ThrottlingWaitsFiveTimesInAllAndNeverReachesHandlers) {
  const HandlerMap handlers{{429, Says(AERROR::SUCCESS)}, {500, Says(AERROR::RETRY)}};
  EXPECT_EQ(Run(Gives({429}), handlers), AERROR::FAILED);
  EXPECT_EQ(attempts, 6U);
  EXPECT_EQ(handled, 0);
  EXPECT_TRUE(Logged("8", "No more backoff"));
  // A handler's RETRY uses no wait and gives none back.
  EXPECT_EQ(Run(Gives({429, 429, 500, 500, 500, 500, 500, 500, 429, 429, 429, 429}), handlers),
            AERROR::FAILED);
  EXPECT_EQ(attempts, 12U);
  CountingBackoff::outcome = AERROR::FAILED;
  EXPECT_EQ(Run(Gives({429})), AERROR::FAILED);
  EXPECT_TRUE(Logged("1", "Backoff returns error"));
  CountingBackoff::outcome = AERROR::RETRY;

  for (const auto& [asked, allowed] : {std::pair{3, 5}, {9, 9}, {40, 16}, {-1, 5}}) {
    EXPECT_EQ(ExponentialBackoff({429}, asked).GetLeft(), allowed) << asked;
  }
}

TEST_F(QueryTest, ExceptionsBecomeFailed) {
  const ResultHandler throwing{[](_CURLRTN&) -> AERROR { throw AERROR::CANCEL; }, ""};
  EXPECT_EQ(Run(Gives({200}), {{200, throwing}}), AERROR::FAILED);
  EXPECT_EQ(Run(Gives({200}), {{200, ResultHandler{}}}), AERROR::FAILED);
  const auto broken = [](const RequestPtr&) -> _CURLRTN { throw std::runtime_error("broken"); };
  EXPECT_EQ(Run({broken, ""}), AERROR::FAILED);
  EXPECT_TRUE(log.Contains("8 [PROTOCOL  ] QueryWithBackoff >> Exception"));
  EXPECT_EQ(Run({}), AERROR::INVALID_PARAMETER);  // nothing to call
}

TEST_F(QueryTest, ALoggerIsItsThreadsUntilTheQueryEnds) {
  const auto kind = std::make_shared<BodyLog>();
  BindQueryLogger(kind);
  EXPECT_EQ(GetQueryLogger(), kind);
  std::thread([] { EXPECT_EQ(GetQueryLogger(), nullptr); }).join();
  Run(Gives({200}));
  EXPECT_EQ(GetQueryLogger(), nullptr);
}

}  // namespace
