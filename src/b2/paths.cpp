#include "b2/paths.h"

#include <algorithm>
#include <utility>

std::string remove_head_slashes(std::string s) {
  const std::size_t first = s.find_first_not_of("/\\");
  if (first != std::string::npos) s.erase(0, first);
  return s;
}

std::string remove_duplicated_slashes(std::string s) {
  const auto both_slashes = [](char left, char right) { return left == '/' && right == '/'; };
  s.erase(std::unique(s.begin(), s.end(), both_slashes), s.end());
  return s;
}

void split_container_name(std::string path, std::string& container, std::string& rest) {
  if (path.empty()) return;
  path = remove_head_slashes(std::move(path));
  const std::size_t slash = path.find('/');
  container = path.substr(0, slash);
  rest = slash == std::string::npos ? "" : path.substr(slash + 1);
}

ItemPath SplitIdentifier(std::string identifier) {
  ItemPath path;
  split_container_name(std::move(identifier), path.container, path.rest);
  return path;
}

ItemPath SplitNormalized(std::string identifier) {
  return SplitIdentifier(remove_duplicated_slashes(remove_head_slashes(std::move(identifier))));
}

std::string WithoutMarkerSuffix(std::string name) {
  if (name.ends_with(kMarkerSuffix)) name.resize(name.size() - (sizeof kMarkerSuffix - 1));
  return name;
}
