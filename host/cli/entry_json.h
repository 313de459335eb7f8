#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "host/plugin/entry.h"
#include "host/terminal/json.h"

namespace b2drive::cli {

// A name as it is printed: escaped on a terminal, as it is in a pipe, so that scripts get the true
// one.
std::string Shown(const std::string& text);

// path, name, type, of files size in bytes and time, id.
Json ToJson(const Entry& entry, const std::string& path);

// To standard output: indented, for a command's one result, and as one line of several.
void PrintJson(const Json& json);
void PrintJsonLine(const Json& json);

}  // namespace b2drive::cli
