#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "host/common/thread_safety.h"
#include "host/mount/files/file_services.h"

namespace b2drive::mount {

// The version that the service holds of one file, as far as it is known. Thread-safe; calls that
// change something on the service are for one thread at a time. All throw FsError.
class StoredFile {
 public:
  // `certain`: whether `entry` is what stands there; otherwise it is looked up when it matters.
  StoredFile(FileServices& services, std::optional<Entry> entry, bool certain)
      : services_(services), entry_(std::move(entry)), certain_(certain) {}

  std::optional<Entry> known() const;
  bool certain() const;
  void Set(std::optional<Entry> entry);
  void Doubt();  // a failed upload may have arrived all the same

  // What stands under `path` now; asks the service if that is not certain.
  std::optional<Entry> Find(const std::string& path);
  // Asks the service in any case.
  std::optional<Entry> FindAfresh(const std::string& path);
  // The same, with an answer that was asked for at this time or later. Files of one folder share a
  // listing of it, as long as that is a few pages.
  std::optional<Entry> FindSince(const std::string& path,
                                 std::chrono::steady_clock::time_point since);
  // Whether the latest listing shows this version under `path`.
  bool IsListed(const Entry& entry, const std::string& path);

  // The first `count` bytes of a version, at most all.
  SpoolPtr Bring(const Entry& entry, const std::string& path, std::uint64_t count);
  // Stores contents under `path` with this modification time, and is that version then.
  Entry Upload(const std::string& path, const SpoolFile& contents, const timespec& modified,
               UploadControl& control, int retries);
  // Makes the version `entry` the newest one under the path `target`, too, by a copy on the
  // service, and is that version then. False when the plug-in offers no such copies.
  bool Copy(const Entry& entry, const std::string& target);
  // Deletes all versions of the name; ESTALE when another one than `entry` is the latest.
  void Delete(const Entry& entry, const std::string& path);

 private:
  FileServices& services_;
  mutable Mutex mutex_;
  std::optional<Entry> entry_ B2_GUARDED_BY(mutex_);
  bool certain_ B2_GUARDED_BY(mutex_);
};

}  // namespace b2drive::mount
