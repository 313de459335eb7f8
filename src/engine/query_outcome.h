#pragma once

#include <optional>
#include <string>
#include <unordered_map>

#include "engine/backoff.h"
#include "engine/named_callable.h"
#include "http/curl_rtn.h"
#include "protocol/aerror.h"

// Reads a result. SUCCESS ends the call, RETRY asks for another attempt at once and without limit
// (so the handler must see to it that something changes), anything else ends the call with that
// code.
using ResultHandler = __zq_funcext<AERROR(_CURLRTN&)>;
using HandlerMap = std::unordered_map<int, ResultHandler>;
using TransportMap = std::unordered_map<int, AERROR>;  // CURLcode to the call's result

// The key that answers every status without an entry of its own in a map of exact statuses.
inline constexpr int kAnyStatus = -1;

// How a call judges its answers.
struct QueryMaps {
  HandlerMap on_range;  // keys 200, 400, ...: a whole class of statuses
  HandlerMap on_code;   // keys are exact statuses or kAnyStatus; asked before the ranges
  TransportMap on_transport;
};

// What one attempt means for its call: the call's result, or nothing for another attempt. Waits
// where `policy` asks for it. `result.curl` must be set.
std::optional<AERROR> Judge(const std::string& name, _CURLRTN& result, long long milliseconds,
                            IBackoff& policy, QueryMaps& maps);

void LogQueryException(const std::string& name) noexcept;
