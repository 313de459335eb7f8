#include "host/transfer/sync_up.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <optional>
#include <thread>
#include <utility>

#include "host/common/path.h"
#include "host/transfer/tree_deletion.h"

namespace b2drive {
namespace {

// As long as a file system's clock shows the time that a file has, the file may change and keep it:
// what is read then must not be recorded under that time. A time without fractions is of a clock
// that ticks every second, or every other one.
void LetClockMoveOn(const timespec& modified) {
  using std::chrono::nanoseconds;
  using std::chrono::seconds;
  constexpr nanoseconds kFine = std::chrono::milliseconds(20);
  constexpr nanoseconds kCoarse = seconds(2);
  const nanoseconds tick = modified.tv_nsec == 0 ? kCoarse : kFine;
  const nanoseconds now = std::chrono::system_clock::now().time_since_epoch();
  const nanoseconds age = now - seconds(modified.tv_sec) - nanoseconds(modified.tv_nsec);
  if (age >= nanoseconds::zero() && age < tick) std::this_thread::sleep_for(tick - age);
}

}  // namespace

bool SyncUp::Do(const SyncAction& action) {
  switch (action.kind) {
    case SyncAction::Kind::kMakeFolder:
      return MakeFolder(action);
    case SyncAction::Kind::kSend:
      Send(action);
      return true;
    case SyncAction::Kind::kDeleteFile:
      DeleteFile(action);
      return true;
    case SyncAction::Kind::kDeleteFolder:
      storage_.RemoveMarker(action.remote->entry, PathOf(action));
      return true;  // without a marker it went with the last of its files
  }
  return false;
}

SyncUp::OpenedFile SyncUp::OpenFile(const std::string& path) const {
  const std::string shown = local_.PathOf(path).string();
  const UniqueFd folder = local_.OpenExisting(FolderIn(path));
  // A named pipe without a writer must not block here: it is refused below.
  UniqueFd fd(
      openat(folder.get(), NameOf(path).c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  struct stat status {};
  if (!fd || fstat(fd.get(), &status) != 0) throw LocalFailure(shown, errno);
  if (!S_ISREG(status.st_mode)) {
    throw HostError(ExitCode::kWrongKind, shown, "is no regular file any more");
  }
  LetClockMoveOn(status.st_mtim);
  if (fstat(fd.get(), &status) != 0) throw LocalFailure(shown, errno);
  const auto size = static_cast<std::uint64_t>(status.st_size);
  return {{std::move(fd), size}, {size, status.st_mtim, ""}};
}

bool SyncUp::IsChanged(const OpenedFile& file) const {
  struct stat status {};
  if (fstat(file.source.fd.get(), &status) != 0) return true;
  const timespec& before = file.before.modified;
  return static_cast<std::uint64_t>(status.st_size) != file.before.size ||
         status.st_mtim.tv_sec != before.tv_sec || status.st_mtim.tv_nsec != before.tv_nsec;
}

bool SyncUp::Differs(const SyncAction& action) {
  OpenedFile file = OpenFile(action.path);
  const Entry& stored = action.remote->entry;
  if (file.source.size != stored.size) return true;
  if (!storage_.HoldsBytesOf(file.source, stored, PathOf(action))) return true;
  if (IsChanged(file)) return true;
  file.before.id = stored.id;
  book_.Record(action.path, std::move(file.before));
  return false;
}

// What is recorded is the file as it was before it was read: if it changed since, the next run sees
// a difference.
void SyncUp::Send(const SyncAction& action) {
  OpenedFile file = OpenFile(action.path);
  const std::string path = PathOf(action);
  file.before.id = storage_.PutFile(FolderId(FolderIn(action.path)), path, file.source).id;
  const bool changed = IsChanged(file);
  book_.Record(action.path, std::move(file.before));
  if (!changed) return;
  throw HostError(ExitCode::kLocalFile, local_.PathOf(action.path).string(),
                  "changed while it was sent; sync again");
}

bool SyncUp::MakeFolder(const SyncAction& action) {
  const std::string path = PathOf(action);
  const bool is_there = action.remote != nullptr;
  if (is_there && drive_.HasMarker(action.remote->entry.id, path)) return false;
  storage_.MakeFolder({"", FolderId(FolderIn(action.path)), true, 0, {}}, path);
  return true;
}

void SyncUp::DeleteFile(const SyncAction& action) {
  DeleteStoredFile(drive_, index_, action.remote->entry, PathOf(action));
  book_.Forget(action.path);
}

std::string SyncUp::FolderId(std::string_view path) const {
  return path.empty() ? folder_.id : Join(folder_.id, path);
}

}  // namespace b2drive
