#include "host/mount/process/mountpoint.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>

#include "host/common/errors.h"
#include "host/mount/kernel/status_query.h"
#include "host/mount/kernel/unmount.h"
#include "host/terminal/notices.h"

namespace b2drive::mount {
namespace fs = std::filesystem;
namespace {

UniqueFd LockFile(const fs::path& file) {
  UniqueFd fd(open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  if (!fd) throw LocalFailure(file.string(), errno);
  constexpr int kMostTries = 600;
  for (int tries = 0; flock(fd.get(), LOCK_EX | LOCK_NB) != 0; ++tries) {
    if (errno != EWOULDBLOCK) throw LocalFailure(file.string(), errno);
    if (tries == kMostTries) {
      throw HostError(ExitCode::kFailed, "another mount of this account uses " +
                                             file.parent_path().string() +
                                             "; give this one its own cache_dir");
    }
    if (tries == 0) Notice("waiting for an earlier mount of this account to end");
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  return fd;
}

fs::path MadeFolder(const fs::path& folder) {
  std::error_code error;
  fs::create_directories(folder, error);
  if (!error) fs::permissions(folder, fs::perms::owner_all, error);
  if (error) throw LocalFailure("cache folder " + folder.string(), error.value());
  return fs::absolute(folder);
}

// What is left where a mount was killed. The kernel may still answer for it from its cache, stat
// most of all; the process may still be ending.
bool IsOfDeadMount(int error) { return error == ENOTCONN || error == ECONNABORTED; }

// 0, or an errno that looking into the folder gave.
int LookInto(const fs::path& folder, bool& shows_drive, bool& empty) {
  struct stat status {};
  if (stat(folder.c_str(), &status) != 0) return errno;
  if (!S_ISDIR(status.st_mode)) return ENOTDIR;
  UniqueFd fd(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!fd) return errno;
  StatusItem item{};
  shows_drive = NextStatus(fd.get(), item) == 0 || IsOlderMount(fd.get());
  std::error_code error;
  empty = fs::is_empty(folder, error);
  return error.value();
}

}  // namespace

fs::path CheckMountpoint(const std::string& path, const MountOptions& options) {
  fs::path mountpoint = fs::absolute(path).lexically_normal();
  bool shows_drive = false;
  bool empty = false;
  const int error = LookInto(mountpoint, shows_drive, empty);
  if (IsOfDeadMount(error)) return mountpoint;
  if (error == ENOENT) {
    throw HostError(ExitCode::kLocalFile,
                    mountpoint.string() + ": no such folder; make it first, with mkdir -p");
  }
  if (error == ENOTDIR) {
    throw HostError(ExitCode::kWrongKind, mountpoint.string() + ": not a folder");
  }
  if (error != 0) throw LocalFailure(mountpoint.string(), error);
  if (shows_drive) {
    throw HostError(ExitCode::kExists,
                    mountpoint.string() + ": b2drive is mounted there; fusermount3 -u unmounts");
  }
  if (!empty && !options.nonempty) {
    throw HostError(ExitCode::kNotEmpty,
                    mountpoint.string() + ": not empty; -o nonempty mounts all the same");
  }
  return mountpoint;
}

void ClearMountpoint(const fs::path& mountpoint, const MountOptions& options) {
  constexpr int kMostTries = 20;
  bool shows_drive = false;
  bool empty = false;
  for (int tries = 0; IsOfDeadMount(LookInto(mountpoint, shows_drive, empty)); ++tries) {
    if (tries == kMostTries) {
      throw HostError(ExitCode::kFailed,
                      mountpoint.string() +
                          ": a mount that died is left there and cannot be "
                          "cleared away; fusermount3 -uz or root's umount -l do");
    }
    if (tries > 0) std::this_thread::sleep_for(std::chrono::milliseconds(100));
    Unmount(mountpoint, true);
  }
  CheckMountpoint(mountpoint, options);
}

CacheFolder::CacheFolder(const fs::path& cache_dir, const std::string& account_id)
    : path_(MadeFolder(cache_dir / account_id)), lock_(LockFile(path_ / "lock")) {}

}  // namespace b2drive::mount
