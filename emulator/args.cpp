#include "emulator/args.h"

#include <boost/algorithm/string/split.hpp>
#include <utility>

#include "base/numbers.h"
#include "emulator/errors.h"

namespace emulator {
namespace {

using nlohmann::json;

constexpr int kMaxDepth = 64;

ServiceError Missing(const char* name) {
  return BadRequest(std::string("required field ") + name + " is missing");
}

ServiceError WrongType(const char* name, const char* wanted) {
  return BadRequest(std::string(name) + " must be " + wanted);
}

std::string TextOf(const json& value, const char* name) {
  if (!value.is_string()) throw WrongType(name, "a string");
  return value.get<std::string>();
}

}  // namespace

json ParseJson(const std::string& text) {
  const auto check_depth = [](int depth, json::parse_event_t, const json&) {
    if (depth > kMaxDepth) throw ServiceError(400, "bad_json", "The JSON is nested too deep");
    return true;
  };
  try {
    return json::parse(text, check_depth);
  } catch (const json::exception& error) {
    throw ServiceError(400, "bad_json", error.what());
  }
}

Args Args::FromBody(const std::string& body) {
  json fields = body.empty() ? json::object() : ParseJson(body);
  if (!fields.is_object()) throw ServiceError(400, "bad_json", "The body is not a JSON object");
  return {std::move(fields), false};
}

Args Args::FromQuery(const Pairs& query) {
  json fields = json::object();
  for (const auto& [name, value] : query) fields[name] = value;
  return {std::move(fields), true};
}

Args Args::Of(const Incoming& incoming) {
  return incoming.record.method == "POST" ? FromBody(incoming.record.body)
                                          : FromQuery(ParseQuery(incoming.query));
}

const json* Args::Find(const char* name) const {
  const auto found = fields_.find(name);
  return found == fields_.end() || found->is_null() ? nullptr : &*found;
}

std::string Args::Text(const char* name) const {
  if (!Has(name)) throw Missing(name);
  return TextOf(*Find(name), name);
}

std::string Args::Text(const char* name, const std::string& fallback) const {
  return OptionalText(name).value_or(fallback);
}

std::optional<std::string> Args::OptionalText(const char* name) const {
  if (!Has(name)) return std::nullopt;
  return Text(name);
}

int64_t Args::Number(const char* name) const {
  if (!Has(name)) throw Missing(name);
  return Number(name, 0);
}

int64_t Args::Number(const char* name, int64_t fallback) const {
  const json* const value = Find(name);
  if (value == nullptr) return fallback;
  if (value->is_number_unsigned() && !std::in_range<int64_t>(value->get<uint64_t>())) {
    throw WrongType(name, "a smaller integer");
  }
  if (value->is_number_integer()) return value->get<int64_t>();
  if (from_query_) {
    if (const auto number = base::ParseNumber<int64_t>(TextOf(*value, name))) return *number;
  }
  throw WrongType(name, "an integer");
}

std::vector<std::string> Args::Texts(const char* name) const {
  const json* const value = Find(name);
  if (value == nullptr) return {};
  std::vector<std::string> texts;
  if (from_query_) {
    return boost::algorithm::split(texts, TextOf(*value, name), [](char c) { return c == ','; });
  }
  if (!value->is_array()) throw WrongType(name, "an array");
  for (const json& item : *value) texts.push_back(TextOf(item, name));
  return texts;
}

FileInfo Args::Info(const char* name) const {
  const json* const value = Find(name);
  if (value == nullptr) return {};
  if (!value->is_object()) throw WrongType(name, "an object");
  FileInfo info;
  for (const auto& [key, item] : value->items()) info[key] = TextOf(item, name);
  return info;
}

std::optional<std::string> Args::RawArray(const char* name) const {
  const json* const value = Find(name);
  if (value == nullptr) return std::nullopt;
  if (!value->is_array()) throw WrongType(name, "an array");
  return value->dump();
}

}  // namespace emulator
