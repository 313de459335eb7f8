#include "host/mount/kernel/unmount.h"

#include <spawn.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace b2drive::mount {
namespace fs = std::filesystem;
namespace {

bool RunUnmountHelper(const fs::path& mountpoint, bool lazily) {
  std::array<const char*, 5> arguments = {"fusermount3", lazily ? "-uzq" : "-uq", "--",
                                          mountpoint.c_str(), nullptr};
  pid_t helper = 0;
  if (posix_spawnp(&helper, arguments[0], nullptr, nullptr,
                   const_cast<char* const*>(arguments.data()), environ) != 0) {
    return false;
  }
  int status = 0;
  while (waitpid(helper, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace

bool Unmount(const fs::path& mountpoint, bool lazily) {
  if (geteuid() == 0) {
    return umount2(mountpoint.c_str(), UMOUNT_NOFOLLOW | (lazily ? MNT_DETACH : 0)) == 0;
  }
  return RunUnmountHelper(mountpoint, lazily);
}

}  // namespace b2drive::mount
