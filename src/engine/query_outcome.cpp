#include "engine/query_outcome.h"

#include "engine/query_logger.h"
#include "http/curl_impl.h"
#include "protocol/log.h"
#include "protocol/log_lines.h"

namespace {

LOGLEVEL LevelOf(AERROR outcome) {
  return outcome == AERROR::SUCCESS || outcome == AERROR::RETRY ? LOGLEVEL_TRACE : LOGLEVEL_ERROR;
}

AERROR TransportFailure(const char* name, const _CURLRTN& result, const TransportMap& map) {
  const auto code = static_cast<CURLcode>(result.code);
  const auto entry = map.find(result.code);
  if (entry == map.end()) {
    __LOG__A(logger, LOGLEVEL_ERROR, log_lines::kNoAnswer, name,
             CURLImpl::ErrorString(code).c_str(), result.code);
    return AERROR::FAILED;
  }
  __LOG__A(logger, LOGLEVEL_TRACE, log_lines::kNoAnswerTreated, name,
           CURLImpl::ErrorString(code).c_str(), result.code, GetAERRORA(entry->second));
  return entry->second;
}

void LogAnswer(const char* name, const _CURLRTN& result, long long milliseconds) {
  ILog* const log = logger;
  if (log == nullptr) return;
  const CURLImpl& request = *result.curl;
  __LOG__A(log, LOGLEVEL_INFO, log_lines::kAnswer, name, request.GetScheme().c_str(),
           request.GetLastRequest().c_str(), static_cast<int>(result.httpCode),
           request.GetURL().c_str(), result.bodyLength, static_cast<int>(milliseconds));
}

std::optional<AERROR> WaitAsAsked(const char* name, IBackoff& policy) {
  if (!policy.IsAvaliable()) {
    __LOG__A(logger, LOGLEVEL_ERROR, "[PROTOCOL  ] %s >> No more backoff", name);
    return AERROR::FAILED;
  }
  __LOG__A(logger, LOGLEVEL_INFO, "[PROTOCOL  ] %s >> %d time(s) backoff left", name,
           policy.GetLeft());
  if (policy.Backoff() != AERROR::RETRY) {
    __LOG__A(logger, LOGLEVEL_TRACE, "[PROTOCOL  ] %s >> Backoff returns error", name);
    return AERROR::FAILED;
  }
  __LOG__A(logger, LOGLEVEL_TRACE, "[PROTOCOL  ] %s >> Backoff done. Retry", name);
  return std::nullopt;
}

AERROR HandleAnswer(const char* name, _CURLRTN& result, QueryMaps& maps) {
  const int status = static_cast<int>(result.httpCode);
  if (const auto exact = maps.on_code.find(status); exact != maps.on_code.end()) {
    const AERROR outcome = exact->second.fn(result);
    __LOG__A(logger, LevelOf(outcome), "[PROTOCOL  ] %s >> ON HTTP %d : %s(0x%08X)", name, status,
             GetAERRORA(outcome), static_cast<unsigned>(outcome));
    return outcome;
  }
  if (const auto any = maps.on_code.find(kAnyStatus); any != maps.on_code.end()) {
    const AERROR outcome = any->second.fn(result);
    __LOG__A(logger, LevelOf(outcome), "[PROTOCOL  ] %s >> ON HTTP(for any code) %d : %s(0x%08X)",
             name, status, GetAERRORA(outcome), static_cast<unsigned>(outcome));
    return outcome;
  }
  const int range = status / 100 * 100;
  if (const auto entry = maps.on_range.find(range); entry != maps.on_range.end()) {
    const AERROR outcome = entry->second.fn(result);
    __LOG__A(logger, LevelOf(outcome), "[PROTOCOL  ] %s >> ON HTTP RANGE %d(%d) : %s(0x%08X)", name,
             range, status, GetAERRORA(outcome), static_cast<unsigned>(outcome));
    return outcome;
  }
  if (static_cast<unsigned>(status) < 400) return AERROR::SUCCESS;
  __LOG__A(logger, LOGLEVEL_ERROR, "[PROTOCOL  ] %s >> HTTP %d", name, status);
  return AERROR::FAILED;
}

}  // namespace

std::optional<AERROR> Judge(const std::string& name, _CURLRTN& result, long long milliseconds,
                            IBackoff& policy, QueryMaps& maps) {
  if (result.code != CURLE_OK) return TransportFailure(name.c_str(), result, maps.on_transport);

  LogAnswer(name.c_str(), result, milliseconds);
  if (const auto query_logger = GetQueryLogger()) query_logger->DoLog(name.c_str(), result);
  // Before any handler: one that is entered for a status of the policy is never called.
  if (policy.IsBackoffCode(static_cast<int>(result.httpCode))) {
    return WaitAsAsked(name.c_str(), policy);
  }
  const AERROR outcome = HandleAnswer(name.c_str(), result, maps);
  return outcome == AERROR::RETRY ? std::nullopt : std::optional(outcome);
}

void LogQueryException(const std::string& name) noexcept {
  try {
    __LOG__A(logger, LOGLEVEL_ERROR, "[PROTOCOL  ] %s >> Exception", name.c_str());
  } catch (...) {  // NOLINT(bugprone-empty-catch): the host's log may be what failed
  }
}
