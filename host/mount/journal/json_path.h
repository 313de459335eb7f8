#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace b2drive::mount {

// A path need not be UTF-8, but texts in JSON must: other paths become arrays of their bytes.
nlohmann::json FromPath(const std::string& path);
// Throws nlohmann::json::exception.
std::string ToPath(const nlohmann::json& value);

}  // namespace b2drive::mount
