#include <cerrno>

#include "host/mount/file_system.h"
#include "host/mount/fs_error.h"
#include "host/mount/paths.h"

namespace b2drive::mount {
namespace {

FsError ChangedMeanwhile(const std::string& path) {
  return {ESTALE, path + ": changed meanwhile by someone else"};
}

bool IsSame(const std::optional<Node>& seen, const std::optional<Node>& found) {
  return seen.has_value() == found.has_value() && (!seen || seen->id == found->id);
}

}  // namespace

void FileSystem::Truncate(const std::string& path, std::uint64_t size) {
  auto handle = Open(path, true, false);
  Truncate(*handle, size);
  Flush(*handle);
  Close(std::move(handle));
}

void FileSystem::SetTime(const std::string& path, timespec time) {
  if (SharedFilePtr file = files_.Find(path)) return file->SetTime(time);
  if (IsRoot(path)) return;
  Node node = StoredNode(path);
  times_.Set(path, node.folder ? "" : node.id, time);
}

void FileSystem::Unlink(const std::string& path) {
  HeldFile held(files_, path, [&] { return ExistingFile(path); });
  folders_.KeepParentOf(path);
  held.file()->Unlink(path, !held.IsOnly());
  files_.Remove(held.file(), path);
  folders_.KeepIfEmptied(ParentOf(path));
}

// What stands at a name that is to be replaced, if anything. What a program saw there is all that
// it means to replace.
std::optional<Node> FileSystem::Replaceable(const std::string& path, bool replace) {
  const std::optional<Node> seen = StoredFile(path);
  if (!seen && replace) return std::nullopt;
  directory_.Forget(ParentOf(path));
  std::optional<Node> found = StoredFile(path);
  if (!replace && (found || files_.Find(path))) throw FsError(EEXIST, path + ": exists");
  if (found && !IsSame(seen, found)) throw ChangedMeanwhile(path);
  return found;
}

void FileSystem::Rename(const std::string& from, const std::string& to, bool replace) {
  if (from == to) return;
  if (Stat(from).folder) throw FsError(EXDEV, from + ": folders are not renamed");
  if (IsBucket(to)) throw FsError(EACCES, to + ": only buckets stand here");
  CheckName(to);
  const std::optional<Node> seen = StoredFile(from);
  const std::optional<Node> there = Replaceable(to, replace);
  if (seen && !IsSame(seen, StoredFile(from))) throw ChangedMeanwhile(from);
  const SharedFilePtr open_target = files_.Find(to);
  HeldFile held(files_, from, [&] { return ExistingFile(from); });
  folders_.KeepParentOf(from);
  held.file()->Move(from, to, there, open_target.get());
  // One that was opened under the name meanwhile.
  if (const SharedFilePtr before = files_.Move(held.file(), from, to)) {
    before->Abandon();
    files_.LetGo(before);
    directory_.Forget(ParentOf(to));  // it may have been stored after ours
  }
  folders_.KeepIfEmptied(ParentOf(from));
}

void FileSystem::MakeFolder(const std::string& path) {
  if (!IsBucket(path)) CheckName(path);
  folders_.Make(path);
}

void FileSystem::RemoveFolder(const std::string& path) {
  if (!StoredNode(path).folder) throw FsError(ENOTDIR, path + ": is a file");
  directory_.Forget(path);  // others may have stored something
  if (!directory_.List(path).empty() || !files_.In(path).empty()) {
    throw FsError(ENOTEMPTY, path + ": not empty");
  }
  folders_.KeepParentOf(path);
  folders_.Remove(path);
  times_.Remove(path);
  folders_.KeepIfEmptied(ParentOf(path));
}

}  // namespace b2drive::mount
