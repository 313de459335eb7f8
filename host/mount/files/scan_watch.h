#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "host/common/thread_safety.h"
#include "host/plugin/directory_cache.h"

namespace b2drive::mount {

// Notices programs that go through a folder in order (ls -R, find, cp -r, tar), so that what they
// come to next can be asked for while they wait for a far service. Thread-safe; asks nobody itself.
class ScanWatch {
 public:
  enum class Kind { kFolders, kFiles };

  ScanWatch(DirectoryCache& directory, Kind kind) : directory_(directory), kind_(kind) {}

  // To be called when a program comes to `path`. Gives paths that are worth asking for now, each
  // once in a scan; none before the third step in order.
  std::vector<std::string> Next(const std::string& path);

 private:
  struct Scan {
    std::string last;   // the name that the program came to
    std::string asked;  // the last name that was given
    int in_order = 0;   // steps
  };

  DirectoryCache& directory_;
  const Kind kind_;
  Mutex mutex_;
  std::unordered_map<std::string, Scan> scans_ B2_GUARDED_BY(mutex_);  // by folder
};

}  // namespace b2drive::mount
