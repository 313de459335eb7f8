#include "emulator/control.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <vector>

#include "emulator/args.h"
#include "emulator/errors.h"
#include "emulator/fault_json.h"

namespace emulator {
namespace {

using nlohmann::json;

constexpr size_t kMaxBody = size_t{1} << 20;

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
  const std::vector<Fault> faults = FaultsOf(body);
  for (const Fault& fault : faults) CheckFault(fault);
  for (const Fault& fault : faults) core.faults.Add(fault);
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
  const std::chrono::milliseconds latency = MillisecondsOf(body.at("milliseconds"));
  CheckDelay(latency);
  core.latency = latency;
  return json::object();
}

json SetLink(Core& core, const json& body) {
  core.link.Set(ParseLink(body.at("link").get<std::string>()));
  return json::object();
}

struct Row {
  std::string_view method;
  std::string_view path;
  json (*act)(Core& core, const json& body);
};

constexpr std::array<Row, 8> kRows{{
    {"POST", "/faults", AddFaults},
    {"DELETE", "/faults", ClearFaults},
    {"GET", "/requests", ShowRequests},
    {"DELETE", "/requests", ClearRequests},
    {"GET", "/counts", ShowCounts},
    {"POST", "/expire", Expire},
    {"POST", "/latency", SetLatency},
    {"POST", "/link", SetLink},
}};

}  // namespace

Answer HandleControl(Core& core, Incoming& incoming, BodySource& body) {
  const auto* const row = std::find_if(kRows.begin(), kRows.end(), [&](const Row& candidate) {
    return candidate.method == incoming.record.method && candidate.path == incoming.path;
  });
  if (row == kRows.end()) return ErrorAnswer(404, "not_found", "No such control call");
  try {
    const std::string text = body.ReadAll(kMaxBody);
    const json fields = text.empty() ? json::object() : ParseJson(text);
    return JsonAnswer(row->act(core, fields).dump(2, ' ', false, json::error_handler_t::replace));
  } catch (const json::exception& error) {
    return ErrorAnswer(400, "bad_json", error.what());
  } catch (const std::invalid_argument& error) {
    return ErrorAnswer(400, "bad_request", error.what());
  } catch (const ServiceError& refusal) {
    return ErrorAnswer(refusal);
  }
}

}  // namespace emulator
