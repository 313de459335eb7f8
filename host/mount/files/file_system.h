#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "host/local/local_io.h"
#include "host/mount/files/announcements.h"
#include "host/mount/files/folder_moves.h"
#include "host/mount/files/folder_reader.h"
#include "host/mount/files/outbox.h"
#include "host/mount/files/prefetcher.h"

namespace b2drive::mount {

// One open() of a program.
struct Handle {
  Handle(OpenFiles& files, const std::string& path, const OpenFiles::Finder& find,
         const ReadServices& services, bool for_writing)
      : held(files, path, find), reader(services), writable(for_writing) {}

  SharedFile& file() const { return *held.file(); }

  HeldFile held;
  VersionReader reader;
  const bool writable;
  std::atomic<bool> wrote{false};  // since its last flush
};

// The drive as a file system: paths, attributes and handles. Thread-safe; everything throws
// FsError.
class FileSystem {
 public:
  // Keeps blocks and unsent contents in `folder` on `disk`, which no other process may use. `boot`
  // names the time since the machine was started.
  FileSystem(LiveSession& live, const FileSystemOptions& options,
             const std::filesystem::path& folder, Disk& disk = SystemDisk(),
             const std::string& boot = CurrentBoot());

  Entry Stat(const std::string& path);
  std::unique_ptr<FolderReader> OpenFolder(const std::string& folder);

  std::unique_ptr<Handle> Open(const std::string& path, bool for_writing, bool truncate);
  std::unique_ptr<Handle> Create(const std::string& path);
  std::size_t Write(Handle& handle, std::uint64_t offset, const char* data, std::size_t count);
  void Truncate(Handle& handle, std::uint64_t size);
  // At each close of a descriptor: what was written is on the service when it returns, or kept
  // here and sent in the background.
  void Flush(Handle& handle);
  // What was written is on the service when it returns.
  void Sync(Handle& handle);
  // The same for all that waits below a folder, where closes do not wait for it.
  void SyncFolder(const std::string& folder);
  void Close(std::unique_ptr<Handle> handle) { handle.reset(); }

  void Truncate(const std::string& path, std::uint64_t size);
  void SetTime(const std::string& path, timespec time);
  void Unlink(const std::string& path);
  // As rename(2) does; a bucket, or a folder that holds too much, gives EXDEV.
  // `renamed` is called before programs come to either name again.
  void Rename(
      const std::string& from, const std::string& to, bool replace,
      const std::function<void()>& renamed = [] {});
  void MakeFolder(const std::string& path);
  void RemoveFolder(const std::string& path);

  std::uint64_t TotalBytes();  // never 0

  // What is not on the service yet; folders with a slash at their end.
  std::vector<Delay> Waiting();
  // Sends it; to be called when no operation runs any more. Gives what could not be sent, of which
  // files are kept.
  std::vector<Delay> Drain();
  Announcements& announcements() { return announcements_; }
  // Ends all waiting and transferring.
  void Hurry();

 private:
  void TellFailure(Handle& handle);
  Entry StoredEntry(const std::string& path);
  // With the time that programs see.
  Entry Shown(Entry stored, const std::string& path);
  std::optional<Entry> StoredFile(const std::string& path);
  // As StoredFile; throws when no file has this name here either.
  std::optional<Entry> ExistingFile(const std::string& path);
  std::unique_ptr<Handle> OpenFile(const std::string& path, bool for_writing, bool truncate);
  void RemoveFile(const std::string& path);
  void Unlink(const HeldFile& held, const std::string& path);
  void RemoveFormer(const NamedVersion& former) noexcept;
  void MoveFile(const std::string& from, const std::string& to, bool replace);
  void FinishMove(const std::string& from, const std::string& to);

  bool in_background() const { return saving_ == Saving::kInBackground; }

  const std::optional<std::uint64_t> size_;  // bytes; none: the account's
  const Saving saving_;
  const timespec started_;
  Announcements announcements_;
  FileServices services_;
  FolderMarkers markers_;
  Prefetcher prefetcher_;
  OpenFiles files_;
  Outbox outbox_;
  PathGate gate_;
  MoveJournal moves_;
  FolderMoves folder_moves_;
};

}  // namespace b2drive::mount
