#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace b2drive {

using Json = nlohmann::ordered_json;

// `json` on one line, or indented by `indent`. Names need not be UTF-8: what is not becomes U+FFFD.
// For a terminal, whatever could steer it is escaped.
std::string JsonText(const Json& json, bool for_terminal, int indent = -1);

}  // namespace b2drive
