#pragma once

#include <string>

#include "host/mount/files/file_services.h"

namespace b2drive::mount {

// Making, keeping and removing folders. The service knows no folders: one exists through the files
// below it or through a marker object. Thread-safe. All throw FsError.
class FolderMarkers {
 public:
  explicit FolderMarkers(FileServices& services) : services_(services) {}

  // Returns when the service has it.
  void Make(const std::string& path);
  // Returns at once where that is possible; a bucket always waits.
  void MakeLater(const std::string& path);
  // Returns when the service has all that were made at or below a folder.
  void Sync(const std::string& folder) { services_.new_folders.AwaitBelow(folder); }
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
  void MakeBucket(const std::string& path);
  void EnsureMarker(const std::string& folder);
  Entry MarkerOf(const std::string& path, const std::string& id);

  FileServices& services_;
};

}  // namespace b2drive::mount
