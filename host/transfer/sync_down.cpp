#include "host/transfer/sync_down.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <utility>

#include "host/common/path.h"
#include "host/local/part_place.h"
#include "host/terminal/report.h"
#include "host/transfer/download.h"

namespace b2drive {
namespace {

bool IsSame(const struct stat& status, std::uint64_t size, const timespec& modified) {
  return S_ISREG(status.st_mode) && static_cast<std::uint64_t>(status.st_size) == size &&
         status.st_mtim.tv_sec == modified.tv_sec && status.st_mtim.tv_nsec == modified.tv_nsec;
}

// 0 or an errno.
int StatusOf(int folder, const std::string& path, struct stat& status) {
  return fstatat(folder, NameOf(path).c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 ? 0 : errno;
}

// 0 or an errno, ENOTEMPTY in place of EEXIST.
int RemoveFolder(int above, const std::string& name) {
  if (unlinkat(above, name.c_str(), AT_REMOVEDIR) == 0) return 0;
  return errno == EEXIST ? ENOTEMPTY : errno;
}

}  // namespace

bool SyncDown::Do(const SyncAction& action) {
  switch (action.kind) {
    case SyncAction::Kind::kMakeFolder:
      local_.Open(action.path);
      return true;
    case SyncAction::Kind::kSend:
      Fetch(action);
      return true;
    case SyncAction::Kind::kDeleteFile:
      DeleteFile(action);
      return true;
    case SyncAction::Kind::kDeleteFolder:
      return DeleteFolder(action);
  }
  return false;
}

void SyncDown::RequireAsPlanned(int folder, const SyncAction& action) const {
  struct stat status {};
  const int error = StatusOf(folder, action.path, status);
  if (error == ENOENT) return;
  if (error != 0) throw LocalFailure(Shown(action), error);
  if (action.local != nullptr && IsSame(status, action.local->size, action.local->modified)) return;
  throw HostError(ExitCode::kExists, Shown(action), "changed here meanwhile; it stays");
}

bool SyncDown::Differs(const SyncAction& action) {
  const UniqueFd folder = local_.OpenExisting(FolderIn(action.path));
  RequireAsPlanned(folder.get(), action);
  LocalSource source{UniqueFd(openat(folder.get(), NameOf(action.path).c_str(),
                                     O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC)),
                     action.local->size};
  if (!source.fd) throw LocalFailure(Shown(action), errno);
  const Entry& stored = action.remote->entry;
  if (!storage_.HoldsBytesOf(source, stored, PathOf(action))) return true;
  RequireAsPlanned(folder.get(), action);
  book_.Record(action.path, {action.local->size, action.local->modified, stored.id});
  return false;
}

void SyncDown::Fetch(const SyncAction& action) {
  const Entry& stored = action.remote->entry;
  const UniqueFd folder = local_.Open(FolderIn(action.path));
  RequireAsPlanned(folder.get(), action);
  DownloadOptions options;
  options.part_name = PartName::kHidden;
  options.modified = stored.modified;
  options.may_replace = [&] { RequireAsPlanned(folder.get(), action); };
  const LocalTarget target(folder.get(), stored.name, local_.PathOf(action.path).parent_path());
  FileDownload(drive_, {stored, PathOf(action)}, target, options).Run();
  struct stat status {};
  if (StatusOf(folder.get(), action.path, status) != 0) return;
  // What is in place now may be someone else's already. Some file systems keep every other second.
  constexpr time_t kCoarsest = 2;
  const time_t off = status.st_mtim.tv_sec - stored.modified.tv_sec;
  if (off > -kCoarsest && off < kCoarsest && IsSame(status, stored.size, status.st_mtim)) {
    book_.Record(action.path, {stored.size, status.st_mtim, stored.id});
  }
}

void SyncDown::DeleteFile(const SyncAction& action) {
  const UniqueFd folder = local_.OpenExisting(FolderIn(action.path));
  RequireAsPlanned(folder.get(), action);
  const bool gone = unlinkat(folder.get(), NameOf(action.path).c_str(), 0) == 0 || errno == ENOENT;
  if (!gone) throw LocalFailure(Shown(action), errno);
  book_.Forget(action.path);
}

// What the filter leaves out, and what came meanwhile, keeps a folder; what a download left does
// not.
bool SyncDown::DeleteFolder(const SyncAction& action) {
  const UniqueFd above = local_.OpenExisting(FolderIn(action.path));
  const std::string name = NameOf(action.path);
  int error = RemoveFolder(above.get(), name);
  if (error == ENOTEMPTY) {
    RemoveAbandonedParts(local_.OpenExisting(action.path).get(), Shown(action));
    error = RemoveFolder(above.get(), name);
  }
  if (error == ENOTEMPTY) {
    Note("sync down", Shown(action) + ": is not empty and stays");
  } else if (error != 0 && error != ENOENT) {
    throw LocalFailure(Shown(action), error);
  }
  return error == 0;
}

}  // namespace b2drive
