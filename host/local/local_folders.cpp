#include "host/local/local_folders.h"

#include <climits>

namespace b2drive {

const char* WhyNoName(std::string_view name) {
  if (name.empty()) return "an empty name";
  if (name == "." || name == "..") return "would lead elsewhere";
  if (name.find('/') != name.npos) return "has a slash";
  if (name.find('\0') != name.npos) return "has a zero byte";
  if (name.size() > NAME_MAX) return "is too long for a name";
  return nullptr;
}

}  // namespace b2drive
