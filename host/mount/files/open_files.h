#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/common/thread_safety.h"
#include "host/mount/files/shared_file.h"

namespace b2drive::mount {

class OpenFiles;

// Notes while it lives whether another file takes a name, or leaves it.
class NameWatch {
 public:
  NameWatch(OpenFiles& files, const std::string& path);
  ~NameWatch();
  NameWatch(const NameWatch&) = delete;
  NameWatch& operator=(const NameWatch&) = delete;

  // The file that had the name at first, or null.
  const SharedFilePtr& file() const { return file_; }
  bool WasTaken() const;

 private:
  friend class OpenFiles;

  void Note(const std::string& path) { taken_ = taken_ || path == path_; }
  // Whether what was found since may be older than what this mount has stored.
  bool IsOver() const { return taken_ || (file_ && file_->version() != version_); }

  OpenFiles& files_;
  const std::string path_;
  SharedFilePtr file_;
  std::string version_;
  bool taken_ = false;  // guarded by the files' mutex
};

// The files that are open or not on the service yet, by path. Thread-safe.
class OpenFiles {
 public:
  // `last_closed` is called when a file's last handle has gone. Of handles that are given back at
  // once it is one that is the last.
  using Listener = std::function<void(const SharedFilePtr& file)>;
  OpenFiles(FileServices& services, Listener last_closed)
      : services_(services), last_closed_(std::move(last_closed)) {}

  // The file at `path` for one more handle. `find` finds what the service holds there, and is not
  // asked about a file whose contents are not there yet; a handle on an older version keeps that to
  // itself.
  using Finder = std::function<std::optional<Entry>()>;
  SharedFilePtr Acquire(const std::string& path, const Finder& find);
  void Release(const SharedFilePtr& file);
  std::size_t Handles(const SharedFilePtr& file);

  void Add(Unsent unsent);
  SharedFilePtr Find(const std::string& path);
  std::vector<SharedFilePtr> In(const std::string& folder);
  std::vector<SharedFilePtr> All();

  // Gives the file that had the name before, if another one; null for none.
  SharedFilePtr Move(const SharedFilePtr& file, const std::string& from, const std::string& to);
  // As Move, for a file that is known by its address.
  void Move(const SharedFile& file, const std::string& from, const std::string& to);
  void Remove(const SharedFilePtr& file, const std::string& path);

  // Lets go of a file that has no handle and nothing to send.
  void LetGo(const SharedFilePtr& file);

 private:
  friend class NameWatch;

  SharedFilePtr Replace(const std::string& path, const SharedFilePtr& file) B2_REQUIRES(mutex_);
  bool RemoveIf(const SharedFilePtr& file, const std::string& path) B2_REQUIRES(mutex_);
  void Displace(const SharedFilePtr& file) B2_REQUIRES(mutex_);

  FileServices& services_;
  const Listener last_closed_;
  Mutex mutex_;
  std::map<std::string, SharedFilePtr> by_path_ B2_GUARDED_BY(mutex_);
  std::set<NameWatch*> watches_ B2_GUARDED_BY(mutex_);
  std::unordered_map<SharedFilePtr, std::size_t> handles_ B2_GUARDED_BY(mutex_);
  // Those that are shown under their name no more: handles on an older version, which may still
  // write, and what they wrote.
  std::set<SharedFilePtr> displaced_ B2_GUARDED_BY(mutex_);
};

// One handle on a file, given back with the object.
class HeldFile {
 public:
  HeldFile(OpenFiles& files, const std::string& path, const OpenFiles::Finder& find)
      : files_(files), file_(files.Acquire(path, find)) {}
  ~HeldFile() { files_.Release(file_); }
  HeldFile(const HeldFile&) = delete;
  HeldFile& operator=(const HeldFile&) = delete;

  const SharedFilePtr& file() const { return file_; }
  bool IsOnly() const { return files_.Handles(file_) == 1; }

 private:
  OpenFiles& files_;
  const SharedFilePtr file_;
};

}  // namespace b2drive::mount
