#include "host/plugin/sign_in_answer.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>

#include "host/plugin/body_decoder.h"
#include "protocol/log_lines.h"

namespace b2drive {

bool IsSignInLine(std::string_view line) {
  static const std::string start = "[PROTOCOL  ] " + std::string(query::kAuthorize) + " >> \n";
  return line.starts_with(start);
}

// The body stands behind the URL and an empty line.
SignInAnswer ReadSignInLine(std::string_view line) {
  SignInAnswer answer;
  if (!IsSignInLine(line)) return answer;
  const auto text = InflateBody(line.substr(line.find('\n') + 1));
  if (!text) return answer;
  const std::size_t body = std::min(text->find("\n\n"), text->size());
  const auto json = nlohmann::json::parse(text->substr(body), nullptr, false);
  if (!json.is_object()) return answer;
  const auto size = json.find("recommendedPartSize");
  if (size != json.end() && size->is_number_unsigned()) answer.part_size = *size;
  return answer;
}

}  // namespace b2drive
