#pragma once

#include <functional>
#include <string>

#include "host/mount/files/scan_watch.h"
#include "host/mount/reading/version_reader.h"

namespace b2drive::mount {

// Asks for what a program that goes through folders in order comes to next: listings, and files
// that are small enough to be read at once. Thread-safe.
class Prefetcher {
 public:
  // Borrows both. What was begun uses them until `reading`'s workers have finished.
  Prefetcher(DirectoryCache& directory, const ReadServices& reading);

  // To be called when a program lists `folder`.
  void ListAhead(const std::string& folder);
  // To be called when a program opens `path` for reading.
  void FetchAhead(const std::string& path);

 private:
  void Run(std::function<void()> task);

  DirectoryCache& directory_;
  const ReadServices reading_;
  ScanWatch folder_scans_;
  ScanWatch file_scans_;
};

}  // namespace b2drive::mount
