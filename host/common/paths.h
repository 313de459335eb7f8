#pragma once

#include <string>
#include <string_view>

namespace b2drive {

// Paths as the kernel gives them: "/" or "/name/name", without a trailing slash.

inline std::string ParentOf(std::string_view path) {
  std::size_t slash = path.rfind('/');
  return slash == 0 ? "/" : std::string(path.substr(0, slash));
}

inline std::string_view NameOf(std::string_view path) { return path.substr(path.rfind('/') + 1); }

inline std::string Join(std::string_view folder, std::string_view name) {
  std::string path(folder);
  if (path != "/") path += '/';
  return path.append(name);
}

inline bool IsRoot(std::string_view path) { return path == "/"; }
inline bool IsBucket(std::string_view path) { return !IsRoot(path) && path.rfind('/') == 0; }

}  // namespace b2drive
