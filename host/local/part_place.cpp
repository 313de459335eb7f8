#include "host/local/part_place.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

#include "host/common/stable_hash.h"
#include "host/local/local_folders.h"

namespace b2drive {
namespace fs = std::filesystem;
namespace {

bool LooksAt(const LocalTarget& at, struct stat& status) {
  return fstatat(at.folder, at.path.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
}

// Whether someone else could have put it there for us: as in /tmp.
bool IsPlanted(const struct stat& status, const LocalTarget& at) {
  struct stat folder {};
  const fs::path parent = at.path.parent_path();
  return status.st_uid != geteuid() &&
         fstatat(at.folder, parent.empty() ? "." : parent.c_str(), &folder, 0) == 0 &&
         (folder.st_mode & S_ISVTX) != 0;
}

}  // namespace

LocalTarget HiddenName(const LocalTarget& target, std::string_view text, const char* ending) {
  return target.Beside(".b2drive-" + StableHash(text) + ending);
}

bool StandsAt(int fd, const LocalTarget& at) {
  struct stat open_one {};
  struct stat named {};
  return fstat(fd, &open_one) == 0 && LooksAt(at, named) && open_one.st_dev == named.st_dev &&
         open_one.st_ino == named.st_ino;
}

bool IsOurs(int fd, const LocalTarget& at) {
  struct stat status {};
  return fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 1 &&
         !IsPlanted(status, at);
}

HostError NoPart(const LocalTarget& at) {
  return {ExitCode::kExists,
          at.Shown() + ": is no part file of b2drive; move it away or fetch to another name"};
}

HostError CannotOpen(const LocalTarget& target, const LocalTarget& part, int error) {
  if (error == ELOOP || error == EISDIR) return NoPart(part);
  struct stat status {};
  return LocalFailure((LooksAt(part, status) ? part : target).Shown(), error);
}

UniqueFd OpenLocked(const LocalTarget& at, int flags) {
  constexpr int kTries = 10;
  for (int i = 0; i < kTries; ++i) {
    // What is no regular file is refused later and must not block here.
    const int how = O_RDWR | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | flags;
    UniqueFd fd(openat(at.folder, at.path.c_str(), how, 0600));
    if (!fd) return fd;
    if (flock(fd.get(), LOCK_EX | LOCK_NB) != 0) {
      if (errno != EWOULDBLOCK) throw LocalFailure(at.Shown(), errno);
      throw HostError(ExitCode::kLocalFile, at.Shown(), "another b2drive is fetching it");
    }
    // Whoever had it before may have put it in place or removed it.
    if (StandsAt(fd.get(), at)) return fd;
  }
  throw HostError(ExitCode::kLocalFile, at.Shown(), "changes all the time");
}

void Unlink(const LocalTarget& at) { unlinkat(at.folder, at.path.c_str(), 0); }

void RemoveAbandonedParts(int folder, const fs::path& shown) {
  std::vector<std::string> names;
  ReadNames(folder, names);  // what cannot be read stays
  for (const std::string& name : names) {
    if (!IsPartName(name)) continue;
    const LocalTarget at(folder, name, shown);
    try {
      const UniqueFd fd = OpenLocked(at, 0);
      if (fd && IsOurs(fd.get(), at)) Unlink(at);
    } catch (const HostError&) {  // in use
    }
  }
}

}  // namespace b2drive
