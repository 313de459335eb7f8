#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/common/keyed_list.h"
#include "host/common/thread_safety.h"
#include "host/plugin/directory_cache.h"

namespace b2drive::mount {

// Notices programs that go through a folder in order, or down a tree (ls -R, find, cp -r, tar), so
// that what they come to next can be asked for while they wait for a far service. Thread-safe; asks
// nobody itself.
class ScanWatch {
 public:
  enum class Kind { kFolders, kFiles };

  ScanWatch(DirectoryCache& directory, Kind kind) : directory_(directory), kind_(kind) {}

  // To be called when a program comes to `path`. Gives paths that are worth asking for now, few of
  // them twice in a scan; none before the third step in order.
  std::vector<std::string> Next(const std::string& path);

 private:
  struct Scan {
    std::string folder;
    std::string last{};   // the name that the program came to
    std::string asked{};  // the last name of this folder that was given
    int in_order = 0;     // steps
  };

  // Of a folder that the program has just come to: its steps on the way there count.
  Scan NewScan(const std::string& folder) B2_REQUIRES(mutex_);
  // What stands behind the last name, and in the folder that comes next, as far as it is known.
  std::vector<std::string> Ahead(Scan& scan);
  std::vector<std::string> After(const std::string& folder, const std::string& name,
                                 std::size_t count);

  DirectoryCache& directory_;
  const Kind kind_;
  Mutex mutex_;
  KeyedList<Scan, &Scan::folder> scans_ B2_GUARDED_BY(mutex_);  // the one used last is the last
};

}  // namespace b2drive::mount
