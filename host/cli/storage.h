#pragma once

#include "host/common/path.h"
#include "host/local/local_file.h"
#include "host/plugin/drive.h"

namespace b2drive::cli {

// Writing on the drive. The plug-in repeats a refused upload at once and without end: here it is
// repeated at most ten times, after waits that grow to half a minute, and a signal ends them. All
// throw HostError. Any number of threads may call.
class Storage {
 public:
  Storage(Drive& drive, Transfers& transfers) : drive_(drive), transfers_(transfers) {}  // borrowed

  // Stores `source` as `path` in the folder `parent_id`.
  void PutFile(const std::string& parent_id, const std::string& path, const LocalSource& source);

  // Makes a folder in `parent`, or a bucket in the root, and gives its entry.
  Entry MakeFolder(const Entry& parent, const std::string& path);

  // Deletes what keeps an empty folder, and nothing else. False when it has no such object.
  bool RemoveMarker(const Entry& folder, const std::string& path);

 private:
  Entry Upload(const std::string& parent_id, const std::string& name, const std::string& path,
               const LocalSource& source);

  Drive& drive_;
  Transfers& transfers_;
};

}  // namespace b2drive::cli
