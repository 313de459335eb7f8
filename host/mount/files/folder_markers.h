#pragma once

#include <optional>
#include <string>
#include <unordered_map>

#include "host/common/thread_safety.h"
#include "host/patient/patient_drive.h"
#include "host/plugin/directory_cache.h"

namespace b2drive::mount {

// Making, keeping and removing folders. The service knows no folders: one exists through the files
// below it or through a marker object. Thread-safe. All throw FsError.
class FolderMarkers {
 public:
  FolderMarkers(PatientDrive& remote, DirectoryCache& directory)
      : remote_(remote), directory_(directory) {}

  void Make(const std::string& path);
  // Asks the service, unless it is known.
  bool HasMarker(const std::string& path);
  // The caller has seen that it is empty. Takes the marker only: were something stored in the
  // folder meanwhile, it would stay.
  void Remove(const std::string& path);

  // To be called before the name `leaving` goes: a folder that exists through its files alone gets
  // a marker when it would go with the last of them, which no program expects.
  void KeepParentOf(const std::string& leaving);

  // After a name went: another may have left the folder at the same time.
  void KeepIfEmptied(const std::string& folder);

 private:
  void EnsureMarker(const std::string& folder);
  std::optional<Entry> MakeMarker(const std::string& id, const std::string& path);
  Entry MarkerOf(const std::string& path, const std::string& id);
  void NoteMarker(const std::string& path, const std::optional<Entry>& marker);

  PatientDrive& remote_;
  DirectoryCache& directory_;
  Mutex mutex_;
  // Folders known to have a marker, with the marker where it is known.
  std::unordered_map<std::string, std::optional<Entry>> markers_ B2_GUARDED_BY(mutex_);
};

}  // namespace b2drive::mount
