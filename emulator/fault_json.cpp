#include "emulator/fault_json.h"

#include <algorithm>
#include <concepts>
#include <stdexcept>
#include <utility>

#include "emulator/service.h"

namespace emulator {
namespace {

using nlohmann::json;

[[noreturn]] void RefuseType(const std::string& wanted, const json& value) {
  throw json::type_error::create(302, "type must be " + wanted, &value);
}

template <typename Value>
void Read(const json& value, Value& member) {
  value.get_to(member);
}

template <std::integral Value>
requires(!std::same_as<Value, bool>) void Read(const json& value, Value& member) {
  const bool fits = value.is_number_unsigned()
                        ? std::in_range<Value>(value.get<uint64_t>())
                        : value.is_number_integer() && std::in_range<Value>(value.get<int64_t>());
  if (!fits) RefuseType("a whole number in its range", value);
  value.get_to(member);
}

void Read(const json& value, std::chrono::milliseconds& member) { member = MillisecondsOf(value); }

template <typename Value>
void Read(const json& value, std::optional<Value>& member) {
  Read(value, member.emplace());
}

template <auto kMember>
void Set(const json& value, Fault& fault) {
  Read(value, fault.*kMember);
}

struct Member {
  std::string_view name;
  void (*set)(const json& value, Fault& fault);
};

constexpr Member kMembers[] = {
    {"call", Set<&Fault::call>},
    {"skip", Set<&Fault::skip>},
    {"times", Set<&Fault::times>},
    {"status", Set<&Fault::status>},
    {"code", Set<&Fault::code>},
    {"message", Set<&Fault::message>},
    {"retryAfter", Set<&Fault::retry_after>},
    {"location", Set<&Fault::location>},
    {"body", Set<&Fault::body>},
    {"gzipBlanks", Set<&Fault::gzip_blanks>},
    {"replace", Set<&Fault::replace>},
    {"repeatCursor", Set<&Fault::repeat_cursor>},
    {"ignoreRange", Set<&Fault::ignore_range>},
    {"delayMilliseconds", Set<&Fault::delay>},
    {"drip", Set<&Fault::drip>},
    {"dripRequest", Set<&Fault::drip_request>},
    {"flipByte", Set<&Fault::flip_byte>},
    {"stall", Set<&Fault::stall>},
    {"cutAfter", Set<&Fault::cut_after>},
    {"cutRequestAfter", Set<&Fault::cut_request_after>},
    {"commit", Set<&Fault::commit>},
};

Fault FaultOf(const json& object) {
  if (!object.is_object()) RefuseType("object", object);
  Fault fault;
  for (const auto& [name, value] : object.items()) {
    const auto* const member = std::ranges::find(kMembers, std::string_view(name), &Member::name);
    if (member == std::end(kMembers)) throw std::invalid_argument("faults have no member " + name);
    member->set(value, fault);
  }
  if (!fault.call.empty() && !Service::Knows(fault.call)) {
    throw std::invalid_argument("no such call: " + fault.call);
  }
  return fault;
}

}  // namespace

std::chrono::milliseconds MillisecondsOf(const json& value) {
  int64_t count = 0;
  Read(value, count);
  return std::chrono::milliseconds(count);
}

std::vector<Fault> FaultsOf(const json& body) {
  if (!body.is_array()) return {FaultOf(body)};
  std::vector<Fault> faults;
  for (const json& object : body) faults.push_back(FaultOf(object));
  return faults;
}

}  // namespace emulator
