#include "host/mount/files/file_services.h"

#include <algorithm>
#include <utility>

#include "host/common/path.h"
#include "host/mount/files/mountable.h"

namespace b2drive::mount {
namespace {

constexpr std::size_t kMostFetchers = 32;
constexpr std::size_t kMostListers = 32;
constexpr std::size_t kMostNames = 1'200'000;  // about 150 MB

// What one reader asks for ahead must not push out of the cache what it has not read yet.
std::uint64_t LongestRange(const FileSystemOptions& options) {
  constexpr std::uint64_t kShare = 32;
  return std::min(options.read_ahead, options.cache_size / kShare);
}

}  // namespace

FileServices::FileServices(LiveSession& live, const FileSystemOptions& options,
                           const std::filesystem::path& folder, Disk& disk, const std::string& boot,
                           Announcements& announcements, Redirected when_redirected)
    : transfers(options.limit),
      remote(live, transfers, {options.retries, !options.foreign_plugin, {}}),
      directory(
          [this](const std::string& id, const std::string& path, ListingReceiver& receiver) {
            // The listing does not have them yet.
            for (const Entry& made : new_folders.In(path))
              directory.Put(Join(path, made.name), made);
            MountableNames names(receiver, path);
            remote.List(id, path, names);
          },
          SameNames::kFolderOnly, options.dir_ttl, kMostNames,
          [this](std::function<void()> task) { listers.Run(std::move(task)); }),
      new_folders([this](const std::string& path, const std::string& id) { SendMarker(path, id); },
                  [this, &announcements](const std::string& path, const std::string& reason) {
                    announcements.Add(path + ": the service does not take this folder: " + reason);
                    directory.Forget(ParentOf(path));
                  }),
      spool(disk, folder / "spool", boot, options.log_size),
      blocks(disk, folder / "blocks", options.cache_size, MostVersions()),
      listers(kMostListers),
      fetchers(kMostFetchers),
      reading{remote, blocks, fetchers, LongestRange(options)},
      redirected(std::move(when_redirected)) {}

void FileServices::SendMarker(const std::string& path, const std::string& id) {
  UploadControl control;
  markers.Note(path, remote.MakeMarker(id, path, control));
}

}  // namespace b2drive::mount
