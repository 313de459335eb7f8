#include "host/plugin/sign_in_answer.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "host/plugin/body_decoder.h"
#include "protocol/log_lines.h"

namespace b2drive {
namespace {

using Json = nlohmann::json;

Json Member(const Json& object, const char* name) {
  return object.is_object() && object.contains(name) ? object[name] : Json();
}

std::string Text(const Json& object, const char* name) {
  const Json member = Member(object, name);
  return member.is_string() ? member.get<std::string>() : "";
}

}  // namespace

bool IsSignInLine(std::string_view line) {
  static const std::string start = "[PROTOCOL  ] " + std::string(query::kAuthorize) + " >> \n";
  return line.starts_with(start);
}

// The body stands behind the URL and an empty line.
SignInAnswer ReadSignInLine(std::string_view line) {
  SignInAnswer said;
  if (!IsSignInLine(line)) return said;
  const auto text = InflateBody(line.substr(line.find('\n') + 1));
  if (!text) return said;
  const std::size_t body = std::min(text->find("\n\n"), text->size());
  const Json answer = Json::parse(text->substr(body), nullptr, false);
  const Json allowed = Member(answer, "allowed");
  said.account_id = Text(answer, "accountId");
  said.prefix = Text(allowed, "namePrefix");
  said.bucket = Text(allowed, "bucketName");
  // A bucket that is gone has an ID and no name.
  if (said.bucket.empty()) said.bucket = Text(allowed, "bucketId");
  for (const Json& capability : Member(allowed, "capabilities")) {
    if (capability.is_string()) said.capabilities.push_back(capability);
  }
  const Json size = Member(answer, "recommendedPartSize");
  if (size.is_number_unsigned()) said.part_size = size;
  return said;
}

}  // namespace b2drive
