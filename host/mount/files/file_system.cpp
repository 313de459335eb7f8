#include "host/mount/files/file_system.h"

#include <algorithm>
#include <cerrno>
#include <set>

#include "host/common/fs_error.h"
#include "host/common/paths.h"
#include "host/common/waiting.h"
#include "host/terminal/notices.h"

namespace b2drive::mount {
namespace {

constexpr std::size_t kMostFetchers = 32;

timespec Now() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return now;
}

// What one reader asks for ahead must not push out of the cache what it has not read yet.
std::uint64_t LongestRange(const MountOptions& options) {
  constexpr std::uint64_t kShare = 8;
  return std::min(options.read_ahead, options.cache_size / kShare);
}

FsError NoSuchFile(const std::string& path) { return {ENOENT, path + ": not found"}; }

}  // namespace

FileSystem::FileSystem(LiveSession& live, const MountOptions& options,
                       const std::filesystem::path& folder, Disk& disk, const std::string& boot)
    : options_(options),
      started_(Now()),
      remote_(live, options.retries, pauses_, !options.foreign_plugin),
      directory_(
          [this](const std::string& id, const std::string& path) { return remote_.List(id, path); },
          options.dir_ttl),
      spool_(disk, folder / "spool", boot),
      blocks_(disk, folder / "blocks", options.cache_size, MostVersions()),
      folders_(remote_, directory_),
      folder_scans_(directory_, ScanWatch::Kind::kFolders),
      file_scans_(directory_, ScanWatch::Kind::kFiles),
      fetchers_(kMostFetchers),
      services_{remote_,
                directory_,
                times_,
                spool_,
                {remote_, blocks_, fetchers_, LongestRange(options)},
                [this](SharedFile& file, const std::string& from, const std::string& to) {
                  Redirected(file, from, to);
                }},
      files_(services_, [this](const SharedFilePtr& file) { LastClosed(file); }),
      saver_(files_) {
  Recover();
}

void FileSystem::Recover() {
  Spool::Found found = spool_.Recover();
  for (const std::string& line : found.damaged) Remark(line);
  for (Unsent& unsent : found.unsent) {
    const std::string path = unsent.destination.path;
    Notice(path + ": was not sent by an earlier mount, " +
           (options_.read_only ? "and this one may not" : "is sent now"));
    files_.Add(std::move(unsent));
    if (!options_.read_only) saver_.Soon(files_.Find(path));
  }
}

void FileSystem::Redirected(SharedFile& file, const std::string& from, const std::string& to) {
  Remark(from + ": was changed by someone else before what was written here could be sent; that " +
         "is stored as " + to);
  files_.Move(file, from, to);
  Lock lock(remarks_mutex_);
  if (on_redirect_) on_redirect_(from, to);
}

void FileSystem::OnRedirect(
    std::function<void(const std::string& from, const std::string& to)> listener) {
  Lock lock(remarks_mutex_);
  on_redirect_ = std::move(listener);
}

void FileSystem::Remark(const std::string& line) {
  constexpr std::size_t kMostRemarks = 100;
  Notice(line);
  Lock lock(remarks_mutex_);
  remarks_.push_back(line);
  if (remarks_.size() > kMostRemarks) remarks_.pop_front();
}

std::vector<std::string> FileSystem::Remarks() {
  Lock lock(remarks_mutex_);
  return {remarks_.begin(), remarks_.end()};
}

Node FileSystem::StoredNode(const std::string& path) {
  auto node = directory_.Find(path);
  if (!node) throw NoSuchFile(path);
  return *node;
}

std::optional<Node> FileSystem::StoredFile(const std::string& path) {
  auto node = directory_.Find(path);
  if (node && node->folder) throw FsError(EISDIR, path + ": is a folder");
  return node;
}

std::optional<Node> FileSystem::ExistingFile(const std::string& path) {
  auto stored = StoredFile(path);
  if (!stored && !files_.Find(path)) throw NoSuchFile(path);
  return stored;
}

Attributes FileSystem::Stat(const std::string& path) {
  if (IsRoot(path)) return {true, 0, started_};
  if (SharedFilePtr file = files_.Find(path)) return file->Stat();
  Node node = StoredNode(path);
  auto kept = times_.Find(path, node.folder ? "" : node.id);
  return {node.folder, node.size, kept.value_or(node.folder ? started_ : node.modified)};
}

void FileSystem::List(const std::string& folder, const Visitor& visit) {
  ListAhead(folder);
  std::set<std::string> shown;
  // Before the listing: a file that is let go meanwhile stands in it.
  const std::vector<SharedFilePtr> open = files_.In(folder);
  const auto names = directory_.List(folder);
  for (const SharedFilePtr& file : open) {
    std::string name(NameOf(file->path()));
    visit(name, file->Stat());
    shown.insert(std::move(name));
  }
  for (const auto& [name, node] : names) {
    if (shown.contains(name)) continue;
    auto kept = times_.Find(Join(folder, name), node.folder ? "" : node.id);
    visit(name, {node.folder, node.size, kept.value_or(node.folder ? started_ : node.modified)});
  }
}

std::unique_ptr<Handle> FileSystem::Open(const std::string& path, bool for_writing, bool truncate) {
  auto handle = std::make_unique<Handle>(
      files_, path, [&] { return ExistingFile(path); }, services_.reading, for_writing);
  if (truncate) handle->file().StartEmpty();
  if (!for_writing) FetchAhead(path);
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
  if (handle.file().HasUnsaved()) return Save(handle.held.file());
  handle.file().Settle();
  // Another descriptor's close may have tried to save what this one wrote.
  auto failure = handle.file().Failure();
  if (wrote && failure) throw *failure;
}

void FileSystem::Sync(Handle& handle) {
  AboutToWait();
  handle.wrote = false;
  Save(handle.held.file());
}

void FileSystem::Save(const SharedFilePtr& file) {
  try {
    file->Save();
  } catch (const FsError&) {
    saver_.Again(file);
    throw;
  }
}

// What came after the last save, through a mapping, is to be sent too.
void FileSystem::LastClosed(const SharedFilePtr& file) noexcept {
  try {
    file->SealUnsaved();
    const auto delay = file->Waiting();
    if (delay && delay->failures == 0) saver_.Soon(file);
  } catch (const std::exception& error) {
    Notice(error.what());
  }
}

std::uint64_t FileSystem::TotalBytes() {
  constexpr std::uint64_t kFallback = 10ULL << 40;
  std::uint64_t total = options_.size ? *options_.size : remote_.TotalBytes();
  return total == 0 ? kFallback : total;
}

std::vector<Delay> FileSystem::Waiting() {
  std::vector<Delay> waiting;
  for (const SharedFilePtr& file : files_.All()) {
    if (auto delay = file->Waiting()) waiting.push_back(*delay);
  }
  return waiting;
}

std::vector<Delay> FileSystem::Drain() {
  saver_.Stop();
  if (options_.read_only) return Waiting();
  {
    constexpr std::size_t kSenders = 4;
    Workers senders(kSenders);
    for (const SharedFilePtr& file : files_.All()) {
      auto delay = file->Waiting();
      if (!delay || delay->lasting) continue;
      senders.Run([file] {
        try {
          file->SendWaiting(kAllRetries);
        } catch (const std::exception& error) {
          Notice(file->path() + ": " + error.what());
        }
      });
    }
  }
  return Waiting();
}

void FileSystem::Hurry() {
  pauses_.Cut();
  remote_.CancelAll();
}

}  // namespace b2drive::mount
