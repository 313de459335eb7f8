#include <cerrno>

#include "host/common/fs_error.h"
#include "host/common/paths.h"
#include "host/mount/files/file_system.h"

namespace b2drive::mount {

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

void FileSystem::Rename(const std::string& from, const std::string& to, bool replace) {
  if (from == to) return;
  if (Stat(from).folder) throw FsError(EXDEV, from + ": folders are not renamed");
  if (IsBucket(to)) throw FsError(EACCES, to + ": only buckets stand here");
  CheckName(to);
  if (!replace) directory_.Forget(ParentOf(to));
  const NameWatch watch(files_, to);
  const std::optional<Node> seen = StoredFile(to);
  if (!replace && (seen || files_.Find(to))) throw FsError(EEXIST, to + ": exists");
  HeldFile held(files_, from, [&] { return ExistingFile(from); });
  folders_.KeepParentOf(from);
  held.file()->Move(from, to, seen, watch.file().get());
  const bool taken = watch.WasTaken();
  // One that was opened under the name meanwhile.
  const SharedFilePtr before = files_.Move(held.file(), from, to);
  if (before) {
    before->Abandon();
    files_.LetGo(before);
  }
  if (before || taken) directory_.Forget(ParentOf(to));  // it may have been stored after ours
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
