#include "host/plugin/key_details.h"

#include <nlohmann/json.hpp>

#include "host/plugin/body_decoder.h"
#include "protocol/log_lines.h"

namespace b2drive {
namespace {

using Json = nlohmann::json;

std::string Text(const Json& object, const char* name) {
  const auto member = object.is_object() ? object.find(name) : object.end();
  return member != object.end() && member->is_string() ? member->get<std::string>() : "";
}

Json Member(const Json& object, const char* name) {
  return object.is_object() && object.contains(name) ? object[name] : Json();
}

}  // namespace

std::optional<KeyDetails> ReadKeyDetails(std::string_view line) {
  const std::size_t end = line.find('\n');
  if (end == std::string_view::npos ||
      line.substr(0, end).find(std::string(" ") + query::kAuthorize + " >>") ==
          std::string_view::npos) {
    return std::nullopt;
  }
  // The URL and an empty line stand before the answer.
  const auto text = InflateBody(line.substr(end + 1));
  const std::size_t body = text ? text->find("\n\n") : std::string::npos;
  if (body == std::string::npos) return std::nullopt;
  const Json answer = Json::parse(text->substr(body), nullptr, false);
  if (!answer.is_object()) return std::nullopt;
  const Json allowed = Member(answer, "allowed");
  KeyDetails details{
      Text(answer, "accountId"), Text(allowed, "bucketName"), Text(allowed, "namePrefix"), {}};
  // A bucket that is gone has an ID and no name.
  if (details.bucket.empty()) details.bucket = Text(allowed, "bucketId");
  for (const Json& capability : Member(allowed, "capabilities")) {
    if (capability.is_string()) details.capabilities.push_back(capability);
  }
  return details;
}

}  // namespace b2drive
