#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "host/mount/files/file_services.h"
#include "host/mount/files/open_files.h"

namespace b2drive::mount {

// What programs see of a folder, by position, from when the object was made: files that are open or
// not sent yet first, then what is stored, as its listing comes. Thread-safe.
class FolderReader {
 public:
  // Gives a stored entry as programs see it.
  using Dressing = std::function<Entry(Entry stored, const std::string& path)>;
  FolderReader(FileServices& services, OpenFiles& files, const std::string& folder, Dressing dress);

  // Calls `show` with entries from `position` on until it returns false: with one at least, unless
  // there are no more. Each comes with the position behind it. Throws FsError, and WouldWait before
  // any was shown.
  using Show = std::function<bool(std::uint64_t next, const Entry& entry)>;
  void Read(std::uint64_t position, const Show& show);

 private:
  void ShowOpen(std::uint64_t position, const Show& show) const;
  bool ShowStored(std::uint64_t position, const NameTable::Run& run, const Show& show);

  FileServices& services_;
  OpenFiles& files_;
  const std::string folder_;
  const Dressing dress_;
  std::vector<Entry> open_;
  std::set<std::string, std::less<>> open_names_;
  std::unique_ptr<FolderReading> stored_;  // guarded by the directory
};

}  // namespace b2drive::mount
