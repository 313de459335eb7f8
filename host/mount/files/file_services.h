#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "host/mount/files/announcements.h"
#include "host/mount/files/known_markers.h"
#include "host/mount/files/new_folders.h"
#include "host/mount/files/time_book.h"
#include "host/mount/journal/spool.h"
#include "host/mount/reading/version_reader.h"
#include "host/plugin/directory_cache.h"

namespace b2drive::mount {

class SharedFile;

enum class Saving {
  kAtClose,       // a close returns when the service holds the file
  kInBackground,  // when it survives a loss of power here
};

struct FileSystemOptions {
  bool read_only = false;
  std::uint64_t cache_size = 1024UL << 20;  // bytes
  std::uint64_t read_ahead = 16UL << 20;    // bytes, the longest range asked for at once
  Saving saving = Saving::kAtClose;
  // Bytes that may wait before a close does; none: a share of the cache folder's free space.
  std::optional<std::uint64_t> pending_size;
  std::chrono::seconds dir_ttl{60};          // how long a listing is believed
  std::uint64_t log_size = Spool::kLogSize;  // bytes, of the journal's log
  int retries = 5;
  std::size_t rename_max = 10'000;    // files and folders in a folder that is renamed
  std::int64_t limit = 0;             // bytes a second of all transfers together; 0: none
  std::optional<std::uint64_t> size;  // bytes, that df shows; none: the account's
  // Whether the plug-in is another than the program's own, which may delete more than it is told
  // to, and may deliver bytes before it knows that they are the right ones.
  bool foreign_plugin = false;
};

// What files need; shared by all of them.
struct FileServices {
  // Told when contents go to another name than they were written under.
  using Redirected =
      std::function<void(SharedFile&, const std::string& from, const std::string& to)>;

  // Keeps blocks and unsent contents in `folder` on `disk`. `boot` names the time since the machine
  // was started.
  FileServices(LiveSession& live, const FileSystemOptions& options,
               const std::filesystem::path& folder, Disk& disk, const std::string& boot,
               Announcements& announcements, Redirected when_redirected);
  // The marker of a folder, and notes it. Throws FsError.
  void SendMarker(const std::string& path, const std::string& id);

  Transfers transfers;
  PatientDrive remote;
  DirectoryCache directory;
  KnownMarkers markers;
  NewFolders new_folders;
  TimeBook times;
  Spool spool;
  BlockCache blocks;
  Workers listers;   // a listing waits for none but the buckets', which is never read here
  Workers fetchers;  // first to end: its tasks use all the others
  const ReadServices reading;
  const Redirected redirected;
};

}  // namespace b2drive::mount
