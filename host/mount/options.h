#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace b2drive::mount {

// What -o sets. The defaults are those that the help shows.
struct MountOptions {
  bool read_only = false;
  bool allow_other = false;
  bool auto_unmount = false;
  bool nonempty = false;
  uid_t uid;  // the caller's
  gid_t gid;
  mode_t umask = 022;
  std::filesystem::path cache_dir;          // b2drive in the user's cache folder
  std::uint64_t cache_size = 1024UL << 20;  // bytes
  std::chrono::seconds dir_ttl{60};
  std::uint64_t read_ahead = 16UL << 20;  // bytes
  int retries = 5;
  std::optional<std::uint64_t> size;  // bytes; none: the account's
  // Not an option: whether the plug-in is another than the program's own, which may delete more
  // than it is told to, and may deliver bytes before it knows that they are the right ones.
  bool foreign_plugin = false;

  MountOptions();
};

// Reads "name,name=value,..."; throws kUsage for what it does not know. What mount(8) and fstab
// have for themselves is skipped.
MountOptions ParseMountOptions(const std::string& text);

// One line an option, with its default.
std::string MountOptionsHelp();

}  // namespace b2drive::mount
