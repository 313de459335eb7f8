#include "host/mount/files/file_system.h"

#include <algorithm>
#include <cerrno>
#include <iterator>

#include "host/common/fs_error.h"
#include "host/common/name_rules.h"
#include "host/common/path.h"
#include "host/common/process_limits.h"
#include "host/common/waiting.h"
#include "host/terminal/notices.h"

namespace b2drive::mount {
namespace {

// Each file that waits holds a descriptor.
Outbox::Bound BoundOf(const FileSystemOptions& options, const std::filesystem::path& folder,
                      const Spool& spool) {
  constexpr std::uint64_t kShare = 5;
  std::error_code error;
  const std::uint64_t available = std::filesystem::space(folder, error).available;
  return {spool, options.pending_size.value_or(error ? 0 : available / kShare),
          MostOpenFiles() / kShare};
}

bool SameTime(const timespec& one, const timespec& other) {
  return one.tv_sec == other.tv_sec && one.tv_nsec == other.tv_nsec;
}

// Of what can be told without the contents. A copy of a file without a time of its own has none.
bool IsCopy(const Entry& copy, const Entry& original) {
  const bool timeless =
      SameTime(copy.modified, copy.uploaded) && SameTime(original.modified, original.uploaded);
  return MayBeAlike(copy, original) && (timeless || SameTime(copy.modified, original.modified));
}

FsError NoSuchFile(const std::string& path) { return {ENOENT, path + ": not found"}; }

}  // namespace

FileSystem::FileSystem(LiveSession& live, const FileSystemOptions& options,
                       const std::filesystem::path& folder, Disk& disk, const std::string& boot)
    : size_(options.size),
      saving_(options.saving),
      started_(Now()),
      services_(live, options, folder, disk, boot, announcements_,
                [this](SharedFile& file, const std::string& from, const std::string& to) {
                  files_.Move(file, from, to);
                  announcements_.AddRedirect(from, to);
                }),
      markers_(services_),
      prefetcher_(services_.directory, services_.reading),
      files_(services_, [this](const SharedFilePtr& file) { outbox_.LastClosed(file); }),
      outbox_(files_, BoundOf(options, folder, services_.spool), options.read_only),
      moves_(disk, folder / "moves"),
      folder_moves_(
          {services_.directory, files_, markers_, gate_, moves_,
           [this](const std::string& from, const std::string& to) { MoveFile(from, to, true); },
           [this](const std::string& from, const std::string& to) { FinishMove(from, to); },
           options.rename_max}) {
  Spool::Found found = services_.spool.Recover();
  for (const std::string& line : found.damaged) announcements_.Add(line);
  std::vector<NamedVersion> formers;
  for (const Unsent& one : found.unsent) formers.push_back(one.destination.former);
  outbox_.Resume(std::move(found.unsent));
  if (options.read_only) return;
  for (const NamedVersion& former : formers) RemoveFormer(former);
  folder_moves_.Resume();
}

// What an earlier mount did not come to when it renamed contents that wait.
void FileSystem::RemoveFormer(const NamedVersion& former) noexcept try {
  if (former.path.empty() || files_.Find(former.path)) return;
  const std::optional<Entry> there = StoredFile(former.path);
  if (there && there->id == former.id) RemoveFile(former.path);
} catch (const std::exception& error) {
  Notice(former.path + ": was renamed, and is still there: " + error.what());
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
  const PathGate::Pass pass(gate_, path);
  if (IsRoot(path)) return {"", "", true, 0, started_};
  if (SharedFilePtr file = files_.Find(path)) return file->Stat();
  return Shown(StoredEntry(path), path);
}

Entry FileSystem::Shown(Entry stored, const std::string& path) {
  const auto kept = services_.times.Find(path, stored.folder ? "" : stored.id);
  stored.modified = kept.value_or(stored.folder ? started_ : stored.modified);
  return stored;
}

std::unique_ptr<FolderReader> FileSystem::OpenFolder(const std::string& folder) {
  const auto pass = PathGate::Pass::ToList(gate_, folder);
  prefetcher_.ListAhead(folder);
  return std::make_unique<FolderReader>(
      services_, files_, folder,
      [this](Entry stored, const std::string& path) { return Shown(std::move(stored), path); });
}

std::unique_ptr<Handle> FileSystem::Open(const std::string& path, bool for_writing, bool truncate) {
  const PathGate::Pass pass(gate_, path);
  return OpenFile(path, for_writing, truncate);
}

std::unique_ptr<Handle> FileSystem::OpenFile(const std::string& path, bool for_writing,
                                             bool truncate) {
  auto handle = std::make_unique<Handle>(
      files_, path, [&] { return ExistingFile(path); }, services_.reading, for_writing);
  TellFailure(*handle);
  if (truncate) handle->file().StartEmpty();
  if (!for_writing) prefetcher_.FetchAhead(path);
  return handle;
}

std::unique_ptr<Handle> FileSystem::Create(const std::string& path) {
  const PathGate::Pass pass(gate_, path);
  if (IsBucket(path)) throw FsError(EACCES, path + ": only buckets stand here");
  CheckName(path);
  auto handle = std::make_unique<Handle>(
      files_, path, [&] { return StoredFile(path); }, services_.reading, true);
  TellFailure(*handle);
  handle->file().StartEmpty();
  return handle;
}

// The close that returned before could not.
void FileSystem::TellFailure(Handle& handle) {
  const auto failure = in_background() ? handle.file().TakeUntold() : std::nullopt;
  if (failure) throw FsError(*failure);
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
  const bool unsaved = handle.file().HasUnsaved();
  if (in_background() && (wrote || unsaved)) return outbox_.Keep(handle.held.file());
  if (unsaved) return outbox_.Save(handle.held.file());
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

void FileSystem::SyncFolder(const std::string& folder) {
  if (!in_background()) return;
  AboutToWait();
  markers_.Sync(folder);
  const std::string below = Join(folder, "");
  for (const SharedFilePtr& file : files_.All()) {
    if (!file->IsSettled() && file->path().starts_with(below)) outbox_.Save(file);
  }
}

std::uint64_t FileSystem::TotalBytes() {
  constexpr std::uint64_t kFallback = 10ULL << 40;
  std::uint64_t total = size_ ? *size_ : services_.remote.TotalBytes();
  return total == 0 ? kFallback : total;
}

void FileSystem::Truncate(const std::string& path, std::uint64_t size) {
  const PathGate::Pass pass(gate_, path);
  auto handle = OpenFile(path, true, false);
  Truncate(*handle, size);
  Flush(*handle);
  Close(std::move(handle));
}

void FileSystem::SetTime(const std::string& path, timespec time) {
  const PathGate::Pass pass(gate_, path);
  if (SharedFilePtr file = files_.Find(path)) return file->SetTime(time);
  if (IsRoot(path)) return;
  const Entry entry = StoredEntry(path);
  services_.times.Set(path, entry.folder ? "" : entry.id, time);
}

void FileSystem::Unlink(const std::string& path) {
  const PathGate::Pass pass(gate_, path);
  RemoveFile(path);
}

void FileSystem::RemoveFile(const std::string& path) {
  HeldFile held(files_, path, [&] { return ExistingFile(path); });
  markers_.KeepParentOf(path);
  Unlink(held, path);
  markers_.KeepIfEmptied(ParentOf(path));
}

void FileSystem::Unlink(const HeldFile& held, const std::string& path) {
  held.file()->Unlink(path, !held.IsOnly());
  files_.Remove(held.file(), path);
}

void FileSystem::Rename(const std::string& from, const std::string& to, bool replace,
                        const std::function<void()>& renamed) {
  if (from == to) return;
  CheckName(to);
  if (Stat(from).folder) return folder_moves_.Move({from, to}, replace, renamed);
  if (IsBucket(to)) throw FsError(EACCES, to + ": only buckets stand here");
  const PathGate::Pass pass(gate_, from, to);
  if (!replace) services_.directory.Forget(ParentOf(to));
  markers_.KeepParentOf(from);
  MoveFile(from, to, replace);
  renamed();
  markers_.KeepIfEmptied(ParentOf(from));
}

// The earlier mount may have ended between the copy and the removal of the old name, and programs
// may have written, or others stored, something else under the new one since.
void FileSystem::FinishMove(const std::string& from, const std::string& to) {
  const std::optional<Entry> there = StoredFile(to);
  if (!there && !files_.Find(to)) return MoveFile(from, to, false);
  const std::optional<Entry> old = StoredFile(from);
  if (there && old && IsCopy(*there, *old) && !files_.Find(from)) {
    // Its folder goes as well, and needs no marker that keeps it.
    return Unlink(HeldFile(files_, from, [&] { return StoredFile(from); }), from);
  }
  Notice(from + ": stays, since there is another " + to + " by now");
}

void FileSystem::MoveFile(const std::string& from, const std::string& to, bool replace) {
  const NameWatch watch(files_, to);
  const std::optional<Entry> seen = StoredFile(to);
  if (!replace && (seen || files_.Find(to))) throw FsError(EEXIST, to + ": exists");
  HeldFile held(files_, from, [&] { return ExistingFile(from); });
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
}

void FileSystem::MakeFolder(const std::string& path) {
  const PathGate::Pass pass(gate_, path);
  in_background() ? markers_.MakeLater(path) : markers_.Make(path);
}

void FileSystem::RemoveFolder(const std::string& path) {
  const PathGate::Pass pass(gate_, path);
  if (!StoredEntry(path).folder) throw FsError(ENOTDIR, path + ": is a file");
  services_.directory.Forget(path);  // others may have stored something
  const std::string any_name = Join(path, "");
  if (services_.directory.HasSiblings(any_name) || !files_.In(path).empty()) {
    throw FsError(ENOTEMPTY, path + ": not empty");
  }
  markers_.KeepParentOf(path);
  markers_.Remove(path);
  services_.times.Remove(path);
  markers_.KeepIfEmptied(ParentOf(path));
}

std::vector<Delay> FileSystem::Waiting() {
  std::vector<Delay> waiting = services_.new_folders.Waiting();
  std::ranges::move(outbox_.Waiting(), std::back_inserter(waiting));
  return waiting;
}

std::vector<Delay> FileSystem::Drain() {
  std::vector<Delay> left = services_.new_folders.Drain();
  std::ranges::move(outbox_.Drain(), std::back_inserter(left));
  return left;
}

void FileSystem::Hurry() { services_.transfers.Cancel(); }

}  // namespace b2drive::mount
