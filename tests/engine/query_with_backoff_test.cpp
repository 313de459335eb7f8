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
  static inline AERROR outcome = RETRY;
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
                                             std::move(code), {{28, TIMEDOUT}});
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
  const std::tuple<int, int, int, AERROR, const char*, const char*> rows[] = {
      // The answer, the keys of handlers (0: none), what they give, the level and text of the line.
      {404, 404, 400, CANCEL, "8", "ON HTTP 404 : AERROR::CANCEL(0x00000003)"},
      {403, -1, 400, TIMEDOUT, "8", "ON HTTP(for any code) 403 : AERROR::TIMEDOUT(0x"},
      {206, 404, 200, SUCCESS, "1", "ON HTTP RANGE 200(206) : AERROR::SUCCESS(0x0"},
      {399, 0, 400, SUCCESS, "2", ""},
      {400, 0, 0, FAILED, "8", "HTTP 400"},
      {-28, -1, 0, TIMEDOUT, "1", "Timeout was reached(28) treat as AERROR::TIMEDOUT"},
      {-7, -1, 0, FAILED, "8", "Couldn't connect to server(7)"}};
  for (const auto& [status, exact, range, outcome, level, line] : rows) {
    const ResultHandler handler = Says(outcome);
    EXPECT_EQ(Run(Gives({status}), {{exact, handler}}, {{range, handler}}), outcome);
    EXPECT_TRUE(Logged(level, line)) << line;
    EXPECT_EQ(attempts, 1U);
    log.Take();
  }
  EXPECT_EQ(handled, 3);
}

TEST_F(QueryTest, ThrottlingWaitsFiveTimesInAllAndNeverReachesHandlers) {
  const HandlerMap handlers{{429, Says(SUCCESS)}, {500, Says(RETRY)}};
  EXPECT_EQ(Run(Gives({429}), handlers), FAILED);
  EXPECT_EQ(attempts, 6U);
  EXPECT_EQ(handled, 0);
  EXPECT_TRUE(Logged("8", "No more backoff"));
  // A handler's RETRY uses no wait and gives none back.
  EXPECT_EQ(Run(Gives({429, 429, 500, 500, 500, 500, 500, 500, 429, 429, 429, 429}), handlers),
            FAILED);
  EXPECT_EQ(attempts, 12U);
  CountingBackoff::outcome = FAILED;
  EXPECT_EQ(Run(Gives({429})), FAILED);
  EXPECT_TRUE(Logged("1", "Backoff returns error"));
  CountingBackoff::outcome = RETRY;

  for (const auto& [asked, allowed] : {std::pair{3, 5}, {9, 9}, {40, 16}, {-1, 5}}) {
    EXPECT_EQ(ExponentialBackoff({429}, asked).GetLeft(), allowed) << asked;
  }
}

TEST_F(QueryTest, ExceptionsBecomeFailed) {
  const ResultHandler throwing{[](_CURLRTN&) -> AERROR { throw CANCEL; }, ""};
  EXPECT_EQ(Run(Gives({200}), {{200, throwing}}), FAILED);
  EXPECT_EQ(Run(Gives({200}), {{200, ResultHandler{}}}), FAILED);
  const auto broken = [](const RequestPtr&) -> _CURLRTN { throw std::runtime_error("broken"); };
  EXPECT_EQ(Run({broken, ""}), FAILED);
  EXPECT_TRUE(log.Contains("8 [PROTOCOL  ] QueryWithBackoff >> Exception"));
  EXPECT_EQ(Run({}), INVALID_PARAMETER);  // nothing to call
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
