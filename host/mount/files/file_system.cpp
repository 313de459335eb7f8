#include "host/mount/files/file_system.h"

#include <cerrno>
#include <set>

#include "host/common/fs_error.h"
#include "host/common/name_rules.h"
#include "host/common/path.h"
#include "host/common/waiting.h"

namespace b2drive::mount {
namespace {

FsError NoSuchFile(const std::string& path) { return {ENOENT, path + ": not found"}; }

}  // namespace

FileSystem::FileSystem(LiveSession& live, const FileSystemOptions& options,
                       const std::filesystem::path& folder, Disk& disk, const std::string& boot)
    : size_(options.size),
      started_(Now()),
      services_(live, options, folder, disk, boot,
                [this](SharedFile& file, const std::string& from, const std::string& to) {
                  files_.Move(file, from, to);
                  announcements_.AddRedirect(from, to);
                }),
      markers_(services_.remote, services_.directory),
      prefetcher_(services_.directory, services_.reading),
      files_(services_, [this](const SharedFilePtr& file) { outbox_.LastClosed(file); }),
      outbox_(files_, options.read_only) {
  Spool::Found found = services_.spool.Recover();
  for (const std::string& line : found.damaged) announcements_.Add(line);
  outbox_.Resume(std::move(found.unsent));
}

Entry FileSystem::StoredEntry(const std::string& path) {
  auto entry = services_.directory.Find(path);
  if (!entry) throw NoSuchFile(path);
  return *entry;
}

std::optional<Entry> FileSystem::StoredFile(const std::string& path) {
  auto entry = services_.directory.Find(path);
  if (entry && entry->folder) throw FsError(EISDIR, path + ": is a folder");
  return entry;
}

std::optional<Entry> FileSystem::ExistingFile(const std::string& path) {
  auto stored = StoredFile(path);
  if (!stored && !files_.Find(path)) throw NoSuchFile(path);
  return stored;
}

Entry FileSystem::Stat(const std::string& path) {
  if (IsRoot(path)) return {"", "", true, 0, started_};
  if (SharedFilePtr file = files_.Find(path)) return file->Stat();
  return Shown(StoredEntry(path), path);
}

Entry FileSystem::Shown(Entry stored, const std::string& path) {
  const auto kept = services_.times.Find(path, stored.folder ? "" : stored.id);
  stored.modified = kept.value_or(stored.folder ? started_ : stored.modified);
  return stored;
}

void FileSystem::List(const std::string& folder, const Visitor& visit) {
  prefetcher_.ListAhead(folder);
  std::set<std::string> shown;
  // Before the listing: a file that is let go meanwhile stands in it.
  const std::vector<SharedFilePtr> open = files_.In(folder);
  Listing stored = services_.directory.ListByName(folder);  // the order that is read ahead
  for (const SharedFilePtr& file : open) {
    Entry entry = file->Stat();
    visit(entry);
    shown.insert(std::move(entry.name));
  }
  for (Entry& entry : stored) {
    if (shown.contains(entry.name)) continue;
    const std::string path = Join(folder, entry.name);
    visit(Shown(std::move(entry), path));
  }
}

std::unique_ptr<Handle> FileSystem::Open(const std::string& path, bool for_writing, bool truncate) {
  auto handle = std::make_unique<Handle>(
      files_, path, [&] { return ExistingFile(path); }, services_.reading, for_writing);
  if (truncate) handle->file().StartEmpty();
  if (!for_writing) prefetcher_.FetchAhead(path);
  return handle;
}

std::unique_ptr<Handle> FileSystem::Create(const std::string& path) {
  if (IsBucket(path)) throw FsError(EACCES, path + ": only buckets stand here");
  CheckName(path);
  auto handle = std::make_unique<Handle>(
      files_, path, [&] { return StoredFile(path); }, services_.reading, true);
  handle->file().StartEmpty();
  return handle;
}

std::size_t FileSystem::Write(Handle& handle, std::uint64_t offset, const char* data,
                              std::size_t count) {
  handle.wrote = true;
  return handle.file().Write(offset, data, count);
}

void FileSystem::Truncate(Handle& handle, std::uint64_t size) {
  handle.wrote = true;
  handle.file().Truncate(size);
}

void FileSystem::Flush(Handle& handle) {
  if (!handle.writable) return;
  if (!handle.wrote && !handle.file().HasUnsealed()) return;
  AboutToWait();
  const bool wrote = handle.wrote.exchange(false);
  if (handle.file().HasUnsaved()) return outbox_.Save(handle.held.file());
  handle.file().Settle();
  // Another descriptor's close may have tried to save what this one wrote.
  auto failure = handle.file().Failure();
  if (wrote && failure) throw *failure;
}

void FileSystem::Sync(Handle& handle) {
  AboutToWait();
  handle.wrote = false;
  outbox_.Save(handle.held.file());
}

std::uint64_t FileSystem::TotalBytes() {
  constexpr std::uint64_t kFallback = 10ULL << 40;
  std::uint64_t total = size_ ? *size_ : services_.remote.TotalBytes();
  return total == 0 ? kFallback : total;
}

void FileSystem::Truncate(const std::string& path, std::uint64_t size) {
  auto handle = Open(path, true, false);
  Truncate(*handle, size);
  Flush(*handle);
  Close(std::move(handle));
}

void FileSystem::SetTime(const std::string& path, timespec time) {
  if (SharedFilePtr file = files_.Find(path)) return file->SetTime(time);
  if (IsRoot(path)) return;
  const Entry entry = StoredEntry(path);
  services_.times.Set(path, entry.folder ? "" : entry.id, time);
}

void FileSystem::Unlink(const std::string& path) {
  HeldFile held(files_, path, [&] { return ExistingFile(path); });
  markers_.KeepParentOf(path);
  held.file()->Unlink(path, !held.IsOnly());
  files_.Remove(held.file(), path);
  markers_.KeepIfEmptied(ParentOf(path));
}

void FileSystem::Rename(const std::string& from, const std::string& to, bool replace) {
  if (from == to) return;
  if (Stat(from).folder) throw FsError(EXDEV, from + ": folders are not renamed");
  if (IsBucket(to)) throw FsError(EACCES, to + ": only buckets stand here");
  CheckName(to);
  if (!replace) services_.directory.Forget(ParentOf(to));
  const NameWatch watch(files_, to);
  const std::optional<Entry> seen = StoredFile(to);
  if (!replace && (seen || files_.Find(to))) throw FsError(EEXIST, to + ": exists");
  HeldFile held(files_, from, [&] { return ExistingFile(from); });
  markers_.KeepParentOf(from);
  held.file()->Move(from, to, seen, watch.file().get());
  const bool taken = watch.WasTaken();
  // One that was opened under the name meanwhile.
  const SharedFilePtr before = files_.Move(held.file(), from, to);
  if (before) {
    before->Abandon();
    files_.LetGo(before);
  }
  if (before || taken)
    services_.directory.Forget(ParentOf(to));  // it may have been stored after ours
  markers_.KeepIfEmptied(ParentOf(from));
}

void FileSystem::MakeFolder(const std::string& path) {
  if (!IsBucket(path)) CheckName(path);
  markers_.Make(path);
}

void FileSystem::RemoveFolder(const std::string& path) {
  if (!StoredEntry(path).folder) throw FsError(ENOTDIR, path + ": is a file");
  services_.directory.Forget(path);  // others may have stored something
  if (!services_.directory.List(path).empty() || !files_.In(path).empty()) {
    throw FsError(ENOTEMPTY, path + ": not empty");
  }
  markers_.KeepParentOf(path);
  markers_.Remove(path);
  services_.times.Remove(path);
  markers_.KeepIfEmptied(ParentOf(path));
}

void FileSystem::Hurry() { services_.transfers.Cancel(); }

}  // namespace b2drive::mount
