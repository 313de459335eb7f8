#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "host/commands/health.h"
#include "host/common/errors.h"
#include "host/common/unique_fd.h"
#include "host/mount/kernel/reply.h"
#include "host/mount/process/options.h"
#include "host/terminal/text_format.h"

namespace b2drive::cli {
namespace fs = std::filesystem;
namespace {

// Empty when it is in none of PATH's folders.
fs::path FindProgram(const std::string& name) {
  const char* path = std::getenv("PATH");
  for (std::string_view rest = path != nullptr ? path : ""; !rest.empty();) {
    const std::string_view folder = rest.substr(0, rest.find(':'));
    const fs::path program = fs::path(folder) / name;
    if (access(program.c_str(), X_OK) == 0) return program;
    rest.remove_prefix(std::min(folder.size() + 1, rest.size()));
  }
  return {};
}

}  // namespace

Finding LookAtFuse() {
  const std::string version = std::string("libfuse ") + fuse_pkgversion();
  const UniqueFd device(open("/dev/fuse", O_RDWR | O_CLOEXEC));
  if (!device) {
    return {Health::kFailed, version + ", /dev/fuse: " + std::generic_category().message(errno),
            "load the kernel's module (modprobe fuse), or give the container the device"};
  }
  const fs::path helper = FindProgram("fusermount3");
  if (!helper.empty()) return {Health::kOk, version + ", /dev/fuse, " + helper.string(), ""};
  return {geteuid() == 0 ? Health::kWarning : Health::kFailed,
          version + ", /dev/fuse, no fusermount3 in PATH",
          "install the package fuse3: only root mounts and unmounts without it"};
}

Finding LookAtCacheFolder() {
  constexpr double kLittle = 1e9;  // bytes; the cache's default size
  const fs::path folder = mount::MountOptions().cache_dir;
  fs::path there = folder;
  std::error_code error;
  while (!fs::exists(there, error) && there.has_relative_path()) there = there.parent_path();
  struct statvfs space {};
  if (access(there.c_str(), W_OK | X_OK) != 0 || statvfs(there.c_str(), &space) != 0) {
    throw LocalFailure(there.string(), errno);
  }
  const double free = static_cast<double>(space.f_bavail) * static_cast<double>(space.f_frsize);
  const std::string text = folder.string() + ": " + FormatBytes(free) + " free";
  if (free >= kLittle) return {Health::kOk, text, ""};
  return {Health::kWarning, text, "make room, or choose another folder with mount -o cache_dir="};
}

}  // namespace b2drive::cli
