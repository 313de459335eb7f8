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

bool ShowsDrive(const fs::path& folder) {
  UniqueFd fd(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  StatusQuery query{};
  return fd && ioctl(fd.get(), kStatusRequest, &query) == 0;
}

}  // namespace

fs::path CheckMountpoint(const std::string& path, const MountOptions& options) {
  fs::path mountpoint = fs::absolute(path).lexically_normal();
  struct stat status {};
  if (stat(mountpoint.c_str(), &status) != 0) {
    const bool left_over = errno == ENOTCONN && Unmount(mountpoint, true);
    if (!left_over || stat(mountpoint.c_str(), &status) != 0) {
      throw LocalFailure(mountpoint.string(), errno);
    }
  }
  if (!S_ISDIR(status.st_mode)) {
    throw HostError(ExitCode::kWrongKind, mountpoint.string() + ": not a folder");
  }
  if (ShowsDrive(mountpoint)) {
    throw HostError(ExitCode::kExists,
                    mountpoint.string() + ": b2drive is mounted there; fusermount3 -u unmounts");
  }
  std::error_code error;
  const bool empty = fs::is_empty(mountpoint, error);
  if (error) throw LocalFailure(mountpoint.string(), error.value());
  if (!empty && !options.nonempty) {
    throw HostError(ExitCode::kNotEmpty,
                    mountpoint.string() + ": not empty; -o nonempty mounts all the same");
  }
  return mountpoint;
}

CacheFolder::CacheFolder(const fs::path& cache_dir, const std::string& account_id)
    : path_(MadeFolder(cache_dir / account_id)), lock_(LockFile(path_ / "lock")) {}

}  // namespace b2drive::mount
