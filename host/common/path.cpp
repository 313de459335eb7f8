#include "host/common/path.h"

#include <algorithm>

#include "host/common/errors.h"

namespace b2drive {

std::string ParentOf(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  return slash == 0 ? "/" : std::string(path.substr(0, slash));
}

std::string NameOf(std::string_view path) { return std::string(path.substr(path.rfind('/') + 1)); }

std::string_view FolderIn(std::string_view names) {
  const std::size_t slash = names.rfind('/');
  return slash == std::string_view::npos ? std::string_view() : names.substr(0, slash);
}

std::vector<std::string> NamesOf(std::string_view path) {
  std::vector<std::string> names;
  if (IsRoot(path)) return names;
  while (!path.empty()) {
    path.remove_prefix(1);
    const std::size_t length = std::min(path.find('/'), path.size());
    names.emplace_back(path.substr(0, length));
    path.remove_prefix(length);
  }
  return names;
}

std::string Join(std::string_view folder, std::string_view name) {
  std::string path(folder);
  if (!IsRoot(folder)) path += '/';
  return path.append(name);
}

bool IsRoot(std::string_view path) { return path == "/"; }
bool IsBucket(std::string_view path) { return !IsRoot(path) && path.rfind('/') == 0; }

bool IsAtOrBelow(std::string_view path, std::string_view folder) {
  return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

PathArgument::PathArgument(std::string_view text) {
  if (text.empty()) throw HostError(ExitCode::kUsage, "a PATH is empty; / is the whole account");
  while (!text.empty()) {
    const std::size_t slash = text.find('/');
    const std::string_view name = text.substr(0, slash);
    ambiguous = ambiguous || (name.empty() && !IsRoot(path));
    if (!name.empty()) path = Join(path, name);
    asks_for_folder = slash != std::string_view::npos;
    text.remove_prefix(asks_for_folder ? slash + 1 : text.size());
  }
}

}  // namespace b2drive
