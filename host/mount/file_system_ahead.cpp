#include "host/mount/file_system.h"
#include "host/mount/paths.h"

namespace b2drive::mount {

// A failure here is nobody's: the program that comes to the folder or file asks again, and is told.

void FileSystem::ListAhead(const std::string& folder) {
  if (IsRoot(folder)) return;
  for (const std::string& next : folder_scans_.Next(folder)) {
    fetchers_.Run([this, next] {
      try {
        directory_.List(next);
      } catch (const std::exception&) {  // see above
      }
    });
  }
}

void FileSystem::FetchAhead(const std::string& path) {
  for (const std::string& next : file_scans_.Next(path)) {
    fetchers_.Run([this, next] { FetchSmall(next); });
  }
}

// The whole of a file that is read at once anyway.
void FileSystem::FetchSmall(const std::string& path) noexcept {
  try {
    const auto node = directory_.Find(path);
    if (!node || node->folder || node->size == 0 || node->size > kBlock) return;
    auto cached = blocks_.Open(node->id, node->size);
    const FetchPtr fetch = cached->Claim(0, node->size);
    const ReadServices reading{remote_, blocks_, fetchers_, options_.read_ahead};
    if (fetch) RunFetch(reading, {ToEntry(*node, path), path}, cached, fetch);
  } catch (const std::exception&) {  // see above
  }
}

}  // namespace b2drive::mount
