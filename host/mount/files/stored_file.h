#pragma once

#include <functional>
#include <optional>
#include <string>

#include "host/common/thread_safety.h"
#include "host/mount/files/directory_cache.h"
#include "host/mount/files/time_book.h"
#include "host/mount/journal/spool.h"
#include "host/mount/reading/version_reader.h"

namespace b2drive::mount {

class SharedFile;

// What files need; shared by all of them.
struct FileServices {
  Remote& remote;
  DirectoryCache& directory;
  TimeBook& times;
  Spool& spool;
  ReadServices reading;
  // Told when contents go to another name than they were written under.
  std::function<void(SharedFile&, const std::string& from, const std::string& to)> redirected;
};

// The version that the service holds of one file, as far as it is known. Thread-safe; calls that
// change something on the service are for one thread at a time. All throw FsError.
class StoredFile {
 public:
  // `certain`: whether `node` is what stands there; otherwise it is looked up when it matters.
  StoredFile(FileServices& services, std::optional<Node> node, bool certain)
      : services_(services), node_(std::move(node)), certain_(certain) {}

  std::optional<Node> known() const;
  bool certain() const;
  void Set(std::optional<Node> node);
  void Doubt();  // a failed upload may have arrived all the same

  // What stands under `path` now; asks the service if that is not certain.
  std::optional<Node> Find(const std::string& path);
  // Asks the service in any case.
  std::optional<Node> Look(const std::string& path);
  // Whether the latest listing shows this version under `path`.
  bool IsListed(const Node& node, const std::string& path);

  // The first `count` bytes of a version, at most all.
  SpoolPtr Bring(const Node& node, const std::string& path, std::uint64_t count);
  // Stores contents under `path`, and is that version then.
  Node Upload(const std::string& path, const SpoolFile& contents, UploadControl& control,
              int retries);
  // Deletes all versions of the name; ESTALE when another one than `node` is the latest.
  void Delete(const Node& node, const std::string& path);

 private:
  FileServices& services_;
  mutable Mutex mutex_;
  std::optional<Node> node_ B2_GUARDED_BY(mutex_);
  bool certain_ B2_GUARDED_BY(mutex_);
};

}  // namespace b2drive::mount
