#include "engine/query_with_backoff.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

#include "protocol/log.h"
#include "tests/engine/fake_pool.h"
#include "tests/support/recording_log.h"

namespace {

class QueryTest : public testing::Test {
 protected:
  QueryTest() {
    CountingBackoff::waits = 0;
    CountingBackoff::gives_up = false;
    logger = &log;
  }
  ~QueryTest() override { logger = nullptr; }

  // Gives the prepared answers one by one, the last one again and again.
  Performer<FakeRequest> Gives(std::vector<_CURLRTN> answers) {
    return {[this, answers = std::move(answers)](const std::shared_ptr<FakeRequest>&) {
              const auto next = static_cast<std::size_t>(attempts++);
              return answers[std::min(next, answers.size() - 1)];
            },
            "Call"};
  }

  ResultHandler Says(AERROR outcome) {
    return {[this, outcome](_CURLRTN& result) {
              handled.push_back(static_cast<int>(result.httpCode));
              EXPECT_NE(result.curl, nullptr);
              return outcome;
            },
            ""};
  }

  AERROR Run(Performer<FakeRequest> performer, HandlerMap range = {}, HandlerMap code = {},
             TransportMap transport = {}) {
    const AERROR outcome = QueryWithBackoff<CountingBackoff>(
        pool, std::move(performer), std::move(range), std::move(code), std::move(transport));
    EXPECT_EQ(pool.lent, 0);
    return outcome;
  }

  RecordingLog log;
  FakePool pool;
  int attempts = 0;
  std::vector<int> handled;
};

}  // namespace

TEST_F(QueryTest, HandlerIsExactThenAnyThenRangeThenDefault) {
  struct Row {
    int status;
    std::vector<int> exact, range;
    AERROR outcome;
    const char* line;
  };
  // Exact entries give CANCEL, the entry for any status TIMEDOUT, ranges ACCESS_DENIED.
  const Row rows[] = {
      {404, {404}, {400}, AERROR::CANCEL, "8 [PROTOCOL  ] Call >> ON HTTP 404 : AERROR::CANCEL"},
      {403,
       {404},
       {400},
       AERROR::ACCESS_DENIED,
       "8 [PROTOCOL  ] Call >> ON HTTP RANGE 400(403) : "},
      {403, {404, -1}, {400}, AERROR::TIMEDOUT, "8 [PROTOCOL  ] Call >> ON HTTP(for any code) 403"},
      {206, {}, {200}, AERROR::ACCESS_DENIED, "RANGE 200(206) : AERROR::ACCESS_DENIED(0x00000018)"},
      {399, {}, {400}, AERROR::SUCCESS, " >> 399 : "},
      {400, {}, {}, AERROR::FAILED, "8 [PROTOCOL  ] Call >> HTTP 400"},
      {500, {}, {400}, AERROR::FAILED, "8 [PROTOCOL  ] Call >> HTTP 500"},
  };
  for (const Row& row : rows) {
    HandlerMap code, range;
    for (int key : row.exact) code[key] = Says(key == -1 ? AERROR::TIMEDOUT : AERROR::CANCEL);
    for (int key : row.range) range[key] = Says(AERROR::ACCESS_DENIED);
    EXPECT_EQ(Run(Gives({Answer(row.status)}), range, code), row.outcome) << row.status;
    EXPECT_TRUE(log.Contains(row.line)) << row.line;
    log.Take();
  }
}

TEST_F(QueryTest, RetryingHandlerRunsAgainWithoutUsingWaitsWhichAllAttemptsShare) {
  std::vector<_CURLRTN> answers(40, Answer(500));
  answers.front() = answers.back() = Answer(429);
  answers.push_back(Answer(200));
  EXPECT_EQ(Run(Gives(answers), {}, {{500, Says(AERROR::RETRY)}}), AERROR::SUCCESS);
  EXPECT_EQ(handled.size(), 38U);
  EXPECT_EQ(CountingBackoff::waits, 2);
  EXPECT_TRUE(log.Contains("1 [PROTOCOL  ] Call >> ON HTTP 500 : AERROR::RETRY(0x00000002)"));
  EXPECT_TRUE(log.Contains("4 time(s) backoff left"));
}

TEST_F(QueryTest, ThrottlingWaitsFiveTimesAndNeverReachesHandlers) {
  EXPECT_EQ(Run(Gives({Answer(429)}), {{400, Says(AERROR::SUCCESS)}},
                {{429, Says(AERROR::SUCCESS)}, {-1, Says(AERROR::SUCCESS)}}),
            AERROR::FAILED);
  EXPECT_EQ(attempts, 6);
  EXPECT_TRUE(handled.empty());
  EXPECT_TRUE(log.Contains("2 [PROTOCOL  ] Call >> 5 time(s) backoff left"));
  EXPECT_TRUE(log.Contains("1 [PROTOCOL  ] Call >> Backoff done. Retry"));
  EXPECT_TRUE(log.Contains("8 [PROTOCOL  ] Call >> No more backoff"));

  CountingBackoff::gives_up = true;
  EXPECT_EQ(Run(Gives({Answer(429)})), AERROR::FAILED);
  EXPECT_TRUE(log.Contains("1 [PROTOCOL  ] Call >> Backoff returns error"));
}

TEST_F(QueryTest, TransportFailureIsMappedOnceAndNeverHandled) {
  const TransportMap map{{28, AERROR::TIMEDOUT}};
  const HandlerMap any{{-1, Says(AERROR::RETRY)}};
  EXPECT_EQ(Run(Gives({Failure(28)}), {}, any, map), AERROR::TIMEDOUT);
  EXPECT_EQ(Run(Gives({Failure(7)}), {}, any, map), AERROR::FAILED);
  EXPECT_EQ(attempts, 2);
  EXPECT_TRUE(log.Contains("1 [PROTOCOL  ] Call >> Timeout was reached(28) treat as AERROR::TIM"));
  EXPECT_TRUE(log.Contains("8 [PROTOCOL  ] Call >> Couldn't connect to server(7)"));
}

TEST_F(QueryTest, ExceptionsBecomeFailed) {
  const ResultHandler throwing{[](_CURLRTN&) -> AERROR { throw AERROR::CANCEL; }, ""};
  EXPECT_EQ(Run(Gives({Answer(200)}), {{200, throwing}}), AERROR::FAILED);
  EXPECT_EQ(Run(Gives({Answer(200)}), {{200, ResultHandler{}}}), AERROR::FAILED);
  const auto broken = [](const std::shared_ptr<FakeRequest>&) -> _CURLRTN {
    throw std::runtime_error("broken");
  };
  EXPECT_EQ(Run({broken, ""}), AERROR::FAILED);
  EXPECT_TRUE(log.Contains("8 [PROTOCOL  ] QueryWithBackoff >> Exception"));
  EXPECT_EQ(Run({}), AERROR::INVALID_PARAMETER);  // nothing to call
}
