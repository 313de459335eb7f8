#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <utility>

#include "engine/named_callable.h"
#include "engine/query_logger.h"
#include "engine/query_outcome.h"
#include "http/curl_queue.h"

// Sends one request on a lent request object. Called once per attempt, so it must be safe to repeat
// on a fresh object.
template <class Request>
using Performer = __zq_funcext<_CURLRTN(std::shared_ptr<Request>)>;

// One attempt. The request object is back in the pool and the result gone when it ends.
template <class Pool>
std::optional<AERROR> AttemptQuery(Pool& pool, const Performer<typename Pool::Request>& performer,
                                   IBackoff& policy, QueryMaps& maps) {
  using Clock = std::chrono::steady_clock;
  const auto request = pool.GetCURL();
  const AutoPutCURL<typename Pool::Request> give_back(pool, request);
  const Clock::time_point started = Clock::now();
  _CURLRTN result = performer.fn(request);
  const auto elapsed =
      std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - started);
  result.curl = request;
  return Judge(performer.name, result, elapsed.count(), policy, maps);
}

// Runs one logical service call as a series of attempts and turns the outcome into one code. Blocks
// its thread, also while it waits. Transport failures are never repeated here; an answer that
// `Policy` knows is, until the policy's waits are used up; otherwise the handlers decide.
//
// INVALID_PARAMETER for a performer without a callable, FAILED for any exception. The thread's
// query logger is unbound when the call ends. `on_range` stands first but is asked after `on_code`.
// The policy is made of `settings`.
template <class Policy, class Pool, class... Settings>
AERROR QueryWithBackoff(Pool& pool, Performer<typename Pool::Request> performer,
                        HandlerMap on_range, HandlerMap on_code, TransportMap on_transport,
                        const Settings&... settings) {
  const __Auto_Unbind_Logger__ unbind;
  if (!performer.fn) return AERROR::INVALID_PARAMETER;
  if (performer.name.empty()) performer.name = "QueryWithBackoff";
  try {
    QueryMaps maps{std::move(on_range), std::move(on_code), std::move(on_transport)};
    Policy policy(settings...);
    for (;;) {
      if (const auto outcome = AttemptQuery(pool, performer, policy, maps)) return *outcome;
    }
  } catch (...) {
    LogQueryException(performer.name);
    return AERROR::FAILED;
  }
}
