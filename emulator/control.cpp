#include "emulator/control.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>

#include "emulator/errors.h"

namespace emulator {
namespace {

using nlohmann::json;

constexpr size_t kMaxBody = size_t{1} << 20;

template <typename Value>
void Take(const json& object, const char* name, Value& value) {
  if (const auto found = object.find(name); found != object.end()) found->get_to(value);
}

template <typename Value>
void Take(const json& object, const char* name, std::optional<Value>& value) {
  if (const auto found = object.find(name); found != object.end()) value = found->get<Value>();
}

Fault FaultOf(const json& object) {
  Fault fault;
  int64_t delay = 0;
  Take(object, "call", fault.call);
  Take(object, "skip", fault.skip);
  Take(object, "times", fault.times);
  Take(object, "status", fault.status);
  Take(object, "code", fault.code);
  Take(object, "message", fault.message);
  Take(object, "retryAfter", fault.retry_after);
  Take(object, "body", fault.body);
  Take(object, "delayMilliseconds", delay);
  Take(object, "stall", fault.stall);
  Take(object, "cutAfter", fault.cut_after);
  Take(object, "cutRequestAfter", fault.cut_request_after);
  Take(object, "commit", fault.commit);
  fault.delay = std::chrono::milliseconds(delay);
  return fault;
}

json RequestJson(const Request& request) {
  json headers = json::array();
  for (const auto& [name, value] : request.headers) headers.push_back({name, value});
  return {{"method", request.method},
          {"host", request.host},
          {"target", request.target},
          {"call", request.call},
          {"headers", headers},
          {"body", request.body},
          {"bodyBytes", request.body_bytes},
          {"status", request.status}};
}

json AddFaults(Core& core, const json& body) {
  const json faults = body.is_array() ? body : json::array({body});
  for (const json& fault : faults) core.faults.Add(FaultOf(fault));
  return {{"added", faults.size()}};
}

json ClearFaults(Core& core, const json&) {
  core.faults.Clear();
  return json::object();
}

json ShowRequests(Core& core, const json&) {
  json all = json::array();
  for (const Request& request : core.log.All()) all.push_back(RequestJson(request));
  return all;
}

json ClearRequests(Core& core, const json&) {
  core.log.Clear();
  return json::object();
}

json ShowCounts(Core& core, const json&) {
  json calls = json::object();
  for (const auto& [call, count] : core.log.Counts()) calls[call] = count;
  return {{"calls", calls}, {"openLargeFiles", core.store.UnfinishedCount()}};
}

json Expire(Core& core, const json&) {
  core.access.ExpireAll();
  return json::object();
}

json SetLatency(Core& core, const json& body) {
  core.latency = std::chrono::milliseconds(body.at("milliseconds").get<int64_t>());
  return json::object();
}

struct Row {
  std::string_view method;
  std::string_view path;
  json (*act)(Core& core, const json& body);
};

constexpr std::array<Row, 7> kRows{{
    {"POST", "/faults", AddFaults},
    {"DELETE", "/faults", ClearFaults},
    {"GET", "/requests", ShowRequests},
    {"DELETE", "/requests", ClearRequests},
    {"GET", "/counts", ShowCounts},
    {"POST", "/expire", Expire},
    {"POST", "/latency", SetLatency},
}};

}  // namespace

Answer HandleControl(Core& core, Incoming& incoming, BodySource& body) {
  const auto* const row = std::find_if(kRows.begin(), kRows.end(), [&](const Row& candidate) {
    return candidate.method == incoming.record.method && candidate.path == incoming.path;
  });
  if (row == kRows.end()) return ErrorAnswer(404, "not_found", "No such control call");
  try {
    const std::string text = body.ReadAll(kMaxBody);
    const json fields = text.empty() ? json::object() : json::parse(text);
    return JsonAnswer(row->act(core, fields).dump(2, ' ', false, json::error_handler_t::replace));
  } catch (const json::exception& error) {
    return ErrorAnswer(400, "bad_json", error.what());
  } catch (const ServiceError& error) {
    return ErrorAnswer(error.status(), error.code(), error.what());
  }
}

}  // namespace emulator
