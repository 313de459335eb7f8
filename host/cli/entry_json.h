#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "host/plugin/entry.h"

namespace b2drive::cli {

using Json = nlohmann::ordered_json;

// A name as it is printed: escaped on a terminal, as it is in a pipe, so that scripts get the true
// one.
std::string Shown(const std::string& text);

// path, name, type, of files size in bytes and time, id.
Json ToJson(const Entry& entry, const std::string& path);

// To standard output, indented. Names need not be UTF-8: what is not becomes U+FFFD.
void PrintJson(const Json& json);

}  // namespace b2drive::cli
