#include "host/terminal/json.h"

#include <nlohmann/json.hpp>

#include "host/terminal/text_format.h"

namespace b2drive {

std::string JsonText(const Json& json, bool for_terminal, int indent) {
  constexpr auto kReplace = Json::error_handler_t::replace;
  std::string text = json.dump(indent, ' ', false, kReplace);
  if (!for_terminal) return text;
  const std::string line = indent < 0 ? text : json.dump(-1, ' ', false, kReplace);
  return EscapeControls(line) == line ? text : json.dump(indent, ' ', true, kReplace);
}

}  // namespace b2drive
