#include "host/common/paths.h"
#include "host/mount/files/file_system.h"

namespace b2drive::mount {
namespace {

// The whole of a file that is read at once anyway.
void FetchSmall(DirectoryCache& directory, const ReadServices& reading, const std::string& path) {
  const auto node = directory.Find(path);
  if (!node || node->folder || node->size == 0 || node->size > kBlock) return;
  auto cached = reading.blocks.Open(node->id, node->size);
  const FetchPtr fetch = cached->Claim(0, node->size);
  if (fetch) RunFetch(reading, {ToEntry(*node, path), path}, cached, fetch);
}

}  // namespace

// A failure is nobody's: the program that comes to the folder or file asks again, and is told.
void FileSystem::Ahead(std::function<void()> task) {
  try {
    fetchers_.Run([task = std::move(task)] {
      try {
        task();
      } catch (const std::exception&) {  // see above
      }
    });
  } catch (const std::exception&) {  // no thread is left for what is only convenient
  }
}

void FileSystem::ListAhead(const std::string& folder) {
  if (IsRoot(folder)) return;
  for (const std::string& next : folder_scans_.Next(folder)) {
    Ahead([this, next] { directory_.List(next); });
  }
}

void FileSystem::FetchAhead(const std::string& path) {
  for (const std::string& next : file_scans_.Next(path)) {
    Ahead([this, next, reading = services_.reading] { FetchSmall(directory_, reading, next); });
  }
}

}  // namespace b2drive::mount
