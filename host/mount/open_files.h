#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/mount/shared_file.h"

namespace b2drive::mount {

// The files that are open or not on the service yet, by path. Thread-safe.
class OpenFiles {
 public:
  explicit OpenFiles(FileServices& services) : services_(services) {}

  // The file at `path` for one more handle. `look` finds what the service holds there, and is not
  // asked about a file whose contents are not there yet; a handle on an older version keeps that to
  // itself.
  using Look = std::function<std::optional<Node>()>;
  SharedFilePtr Acquire(const std::string& path, const Look& look);
  void Release(const SharedFilePtr& file);
  std::size_t Handles(const SharedFilePtr& file);

  void Add(Unsent unsent, const std::optional<Node>& stored);
  SharedFilePtr Find(const std::string& path);
  std::vector<SharedFilePtr> In(const std::string& folder);
  std::vector<SharedFilePtr> All();

  void Move(const SharedFilePtr& file, const std::string& from, const std::string& to);
  void Remove(const SharedFilePtr& file, const std::string& path);

  // Lets go of a file that has no handle and nothing to send.
  void LetGo(const SharedFilePtr& file);

 private:
  SharedFilePtr AcquireUnsent(const std::string& path);

  FileServices& services_;
  std::mutex mutex_;  // guards what follows
  std::map<std::string, SharedFilePtr> by_path_;
  std::unordered_map<SharedFilePtr, std::size_t> handles_;
};

// One handle on a file, given back with the object.
class HeldFile {
 public:
  HeldFile(OpenFiles& files, const std::string& path, const OpenFiles::Look& look)
      : files_(files), file_(files.Acquire(path, look)) {}
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
