#include "emulator/control.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <vector>

#include "emulator/args.h"
#include "emulator/control_state.h"
#include "emulator/errors.h"
#include "emulator/fault_json.h"

namespace emulator {
namespace {

using nlohmann::json;

constexpr size_t kMaxBody = size_t{1} << 20;
constexpr size_t kMaxState = size_t{1} << 30;

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

// A request to the control host.
struct Order {
  Pairs query;
  json body;
};

json AddFaults(Core& core, const Order& order) {
  const std::vector<Fault> faults = FaultsOf(order.body);
  for (const Fault& fault : faults) CheckFault(fault);
  for (const Fault& fault : faults) core.faults.Add(fault);
  return {{"added", faults.size()}};
}

json ClearFaults(Core& core, const Order&) {
  core.faults.Clear();
  return json::object();
}

json ShowRequests(Core& core, const Order&) {
  json all = json::array();
  for (const Request& request : core.log.All()) all.push_back(RequestJson(request));
  return all;
}

json ClearRequests(Core& core, const Order&) {
  core.log.Clear();
  return json::object();
}

json ShowCounts(Core& core, const Order&) {
  json calls = json::object();
  for (const auto& [call, count] : core.log.Counts()) calls[call] = count;
  return {{"calls", calls}, {"openLargeFiles", core.store.UnfinishedCount()}};
}

json ShowFilesOf(Core& core, const Order& order) { return ShowFiles(core, order.query); }
json ShowStateOf(Core& core, const Order&) { return ShowState(core); }
json PutState(Core& core, const Order& order) { return ReplaceState(core, order.body); }

json Reset(Core& core, const Order&) {
  core.Reset();
  return json::object();
}

json Expire(Core& core, const Order&) {
  core.access.ExpireAll();
  return json::object();
}

json ExpireUploadUrls(Core& core, const Order&) {
  core.access.ExpireUploads();
  return json::object();
}

json SetLatency(Core& core, const Order& order) {
  const std::chrono::milliseconds latency = MillisecondsOf(order.body.at("milliseconds"));
  CheckDelay(latency);
  core.latency = latency;
  return json::object();
}

json SetLink(Core& core, const Order& order) {
  core.link.Set(ParseLink(order.body.at("link").get<std::string>()));
  return json::object();
}

// What a call takes; empty ones are none.
using Names = std::array<std::string_view, 3>;
// Faults and states are checked by what reads them.
constexpr Names kAny{"*"};

struct Row {
  std::string_view method;
  std::string_view path;
  json (*act)(Core& core, const Order& order);
  Names members = {};     // of the body
  Names parameters = {};  // of the query
};

constexpr std::array<Row, 13> kRows{{
    {"POST", "/faults", AddFaults, kAny},
    {"DELETE", "/faults", ClearFaults},
    {"GET", "/requests", ShowRequests},
    {"DELETE", "/requests", ClearRequests},
    {"GET", "/counts", ShowCounts},
    {"GET", "/files", ShowFilesOf, {}, {"bucket", "prefix", "versions"}},
    {"GET", "/state", ShowStateOf},
    {"PUT", "/state", PutState, kAny},
    {"POST", "/reset", Reset},
    {"POST", "/expire", Expire},
    {"POST", "/expire/upload-urls", ExpireUploadUrls},
    {"POST", "/latency", SetLatency, {"milliseconds"}},
    {"POST", "/link", SetLink, {"link"}},
}};

bool Has(const Names& names, std::string_view name) {
  return !name.empty() && std::ranges::find(names, name) != names.end();
}

[[noreturn]] void RefuseName(std::string text, const char* what, const std::string& name) {
  text += what;
  throw std::invalid_argument(text += name);
}

// What is misspelt must not be taken for a success.
void CheckNames(const Row& row, const Order& order) {
  const std::string path(row.path);
  for (const auto& [name, value] : order.query) {
    if (!Has(row.parameters, name)) RefuseName(path, " has no parameter ", name);
  }
  if (row.members == kAny) return;
  if (!order.body.is_object()) throw ServiceError(400, "bad_json", path + " takes an object");
  for (const auto& [name, value] : order.body.items()) {
    if (!Has(row.members, name)) RefuseName(path, " has no member ", name);
  }
}

json Act(const Row& row, Core& core, const Incoming& incoming, BodySource& body) {
  const std::string text = body.ReadAll(row.act == PutState ? kMaxState : kMaxBody);
  const Order order{ParseQuery(incoming.query), text.empty() ? json::object() : ParseJson(text)};
  CheckNames(row, order);
  return row.act(core, order);
}

}  // namespace

Answer HandleControl(Core& core, Incoming& incoming, BodySource& body) {
  const auto* const row = std::find_if(kRows.begin(), kRows.end(), [&](const Row& candidate) {
    return candidate.method == incoming.record.method && candidate.path == incoming.path;
  });
  if (row == kRows.end())
    return ErrorAnswer(404, "not_found",
                       "No such control call: " + incoming.record.method + " " + incoming.path);
  try {
    const json shown = Act(*row, core, incoming, body);
    return JsonAnswer(shown.dump(2, ' ', false, json::error_handler_t::replace));
  } catch (const json::exception& error) {
    return ErrorAnswer(400, "bad_json", error.what());
  } catch (const std::invalid_argument& error) {
    return ErrorAnswer(400, "bad_request", error.what());
  } catch (const ServiceError& refusal) {
    return ErrorAnswer(refusal);
  }
}

}  // namespace emulator
