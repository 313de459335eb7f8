#include "host/mount/journal/json_path.h"

#include <vector>

#include "base/utf8.h"

namespace b2drive::mount {

nlohmann::json FromPath(const std::string& path) {
  if (base::IsUtf8(path)) return path;
  nlohmann::json bytes = nlohmann::json::array();
  for (char byte : path) bytes.push_back(static_cast<unsigned char>(byte));
  return bytes;
}

std::string ToPath(const nlohmann::json& value) {
  if (value.is_string()) return value.get<std::string>();
  const auto bytes = value.get<std::vector<unsigned char>>();
  return {bytes.begin(), bytes.end()};
}

}  // namespace b2drive::mount
