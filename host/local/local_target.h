#pragma once

#include <fcntl.h>
#include <sys/types.h>

#include <filesystem>
#include <string>
#include <utility>

namespace b2drive {

// Where a file is to stand: at a path, or under a name in an open folder, which nobody can put a
// link in the way to.
struct LocalTarget {
  LocalTarget(std::filesystem::path at) : path(std::move(at)) {}
  // `folder` is borrowed; `shown` is its path for messages.
  LocalTarget(int folder_fd, std::filesystem::path name, std::filesystem::path shown)
      : folder(folder_fd), path(std::move(name)), shown_in(std::move(shown)) {}

  bool in_open_folder() const { return folder != AT_FDCWD; }
  LocalTarget At(std::filesystem::path other) const { return {folder, std::move(other), shown_in}; }
  LocalTarget Beside(const std::string& name) const { return At(path.parent_path() / name); }
  std::string Shown() const { return (shown_in / path).string(); }

  int folder = AT_FDCWD;
  std::filesystem::path path;  // from the folder on
  std::filesystem::path shown_in;
};

// To be called once before there are threads: it can be read only by changing it for a moment, in
// which all that is made gets another mode.
mode_t ModeOfNewFiles();

}  // namespace b2drive
