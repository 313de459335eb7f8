#include "host/mount/files/prefetcher.h"

#include <exception>
#include <utility>

#include "host/common/path.h"

namespace b2drive::mount {
namespace {

void FetchSmall(DirectoryCache& directory, const ReadServices& reading, const std::string& path) {
  const auto entry = directory.Find(path);
  if (!entry || entry->folder || entry->size == 0 || entry->size > kBlock) return;
  auto cached = reading.blocks.Open(entry->id, entry->size);
  const FetchPtr fetch = cached->Claim(0, entry->size);
  if (fetch) RunFetch(reading, {*entry, path}, cached, fetch);
}

}  // namespace

Prefetcher::Prefetcher(DirectoryCache& directory, const ReadServices& reading)
    : directory_(directory),
      reading_(reading),
      folder_scans_(directory, ScanWatch::Kind::kFolders),
      file_scans_(directory, ScanWatch::Kind::kFiles) {}

// A failure is nobody's: the program that comes to the folder or file asks again, and is told.
void Prefetcher::Run(std::function<void()> task) {
  try {
    reading_.workers.Run([task = std::move(task)] {
      try {
        task();
      } catch (const std::exception&) {  // see above
      }
    });
  } catch (const std::exception&) {  // no thread is left for what is only convenient
  }
}

void Prefetcher::ListAhead(const std::string& folder) {
  if (IsRoot(folder)) return;
  for (const std::string& next : folder_scans_.Next(folder)) {
    Run([&directory = directory_, next] { directory.StartReading(next); });
  }
}

void Prefetcher::FetchAhead(const std::string& path) {
  for (const std::string& next : file_scans_.Next(path)) {
    Run([&directory = directory_, reading = reading_, next] {
      FetchSmall(directory, reading, next);
    });
  }
}

}  // namespace b2drive::mount
