#pragma once

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <string>

#include "host/mount/files/folders.h"
#include "host/mount/files/open_files.h"
#include "host/mount/files/saver.h"
#include "host/mount/files/scan_watch.h"
#include "host/mount/options.h"

namespace b2drive::mount {

// One open() of a program.
struct Handle {
  Handle(OpenFiles& files, const std::string& path, const OpenFiles::Look& look,
         const ReadServices& services, bool for_writing)
      : held(files, path, look), reader(services), writable(for_writing) {}

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
  FileSystem(LiveSession& live, const MountOptions& options, const std::filesystem::path& folder,
             Disk& disk = SystemDisk(), const std::string& boot = CurrentBoot());

  Attributes Stat(const std::string& path);
  using Visitor = std::function<void(const std::string& name, const Attributes& attributes)>;
  void List(const std::string& folder, const Visitor& visit);

  std::unique_ptr<Handle> Open(const std::string& path, bool for_writing, bool truncate);
  std::unique_ptr<Handle> Create(const std::string& path);
  std::size_t Write(Handle& handle, std::uint64_t offset, const char* data, std::size_t count);
  void Truncate(Handle& handle, std::uint64_t size);
  // At each close of a descriptor: what was written is on the service when it returns.
  void Flush(Handle& handle);
  void Sync(Handle& handle);
  void Close(std::unique_ptr<Handle> handle) { handle.reset(); }

  void Truncate(const std::string& path, std::uint64_t size);
  void SetTime(const std::string& path, timespec time);
  void Unlink(const std::string& path);
  // Within one file system; a folder gives EXDEV.
  void Rename(const std::string& from, const std::string& to, bool replace);
  void MakeFolder(const std::string& path);
  void RemoveFolder(const std::string& path);

  std::uint64_t TotalBytes();  // never 0

  // What is not on the service yet.
  std::vector<Delay> Waiting();
  // A line each: contents that went to a name of their own, and what cannot be read any more.
  std::vector<std::string> Remarks();
  // To be told when an open file's contents go to another name without a program's doing.
  void OnRedirect(std::function<void(const std::string& from, const std::string& to)> listener);
  // Sends it; to be called when no operation runs any more. Gives what could not be sent.
  std::vector<Delay> Drain();
  // Ends all waiting and transferring.
  void Hurry();

 private:
  Node StoredNode(const std::string& path);
  std::optional<Node> StoredFile(const std::string& path);
  // As StoredFile; throws when no file has this name here either.
  std::optional<Node> ExistingFile(const std::string& path);
  void Save(const SharedFilePtr& file);
  void LastClosed(const SharedFilePtr& file) noexcept;
  void Recover();
  void Redirected(SharedFile& file, const std::string& from, const std::string& to);
  void Remark(const std::string& line);
  void ListAhead(const std::string& folder);
  void FetchAhead(const std::string& path);
  void Ahead(std::function<void()> task);

  const MountOptions options_;
  const timespec started_;
  Pauses pauses_;
  Remote remote_;
  DirectoryCache directory_;
  TimeBook times_;
  Spool spool_;
  BlockCache blocks_;
  Folders folders_;
  ScanWatch folder_scans_;
  ScanWatch file_scans_;
  Workers fetchers_;
  FileServices services_;
  OpenFiles files_;
  Mutex remarks_mutex_;
  std::deque<std::string> remarks_ B2_GUARDED_BY(remarks_mutex_);
  std::function<void(const std::string&, const std::string&)> on_redirect_
      B2_GUARDED_BY(remarks_mutex_);
  Saver saver_;
};

}  // namespace b2drive::mount
