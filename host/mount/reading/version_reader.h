#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/common/workers.h"
#include "host/mount/journal/spool.h"
#include "host/mount/reading/block_cache.h"
#include "host/patient/patient_drive.h"

namespace b2drive::mount {

// What reading needs; shared by all readers.
struct ReadServices {
  PatientDrive& remote;
  BlockCache& blocks;
  Workers& workers;
  std::uint64_t longest_range;  // bytes
};

// A stored version of a file.
struct StoredVersion {
  Entry file;
  std::string path;
};

// One program's reading of one file: how far it asks ahead. Ranges are short at first and after a
// seek, and grow while reading goes on in sequence; the next range is asked for while the last one
// arrives. Thread-safe.
class VersionReader {
 public:
  explicit VersionReader(ReadServices services) : services_(services) {}
  // Gives up what nobody waits for.
  ~VersionReader();
  VersionReader(const VersionReader&) = delete;
  VersionReader& operator=(const VersionReader&) = delete;

  // Gives the bytes copied, fewer than `count` at the end only. Throws FsError.
  std::size_t Read(const StoredVersion& version, std::uint64_t offset, char* data,
                   std::size_t count);

 private:
  struct Running {
    std::weak_ptr<CachedVersion> version;
    FetchPtr fetch;
  };
  using Cached = std::shared_ptr<CachedVersion>;

  // Notes a read and gives the length of the range to ask for.
  std::uint64_t NoteRead(std::uint64_t offset, std::uint64_t end);
  void Ahead(const StoredVersion& version, const Cached& cached, std::uint64_t from);
  void Begin(const StoredVersion& version, const Cached& cached, const FetchPtr& fetch);
  void InBackground(const StoredVersion& version, const Cached& cached, const FetchPtr& fetch);
  void DropRunning() B2_REQUIRES(mutex_);
  // Without the cache, when its disk is full.
  std::size_t ReadThrough(const StoredVersion& version, std::uint64_t offset, char* data,
                          std::size_t count);

  ReadServices services_;
  Mutex mutex_;
  std::uint64_t next_ B2_GUARDED_BY(mutex_) = 0;
  std::uint64_t range_ B2_GUARDED_BY(mutex_) = 0;  // bytes; 0: nothing was read yet
  std::vector<Running> running_ B2_GUARDED_BY(mutex_);
};

// Brings `fetch` into `cached` on this thread; its error goes to those who wait.
void RunFetch(const ReadServices& services, const StoredVersion& version,
              const std::shared_ptr<CachedVersion>& cached, const FetchPtr& fetch) noexcept;

// Writes the first `count` bytes of a version into a file. Throws FsError.
void BringInto(const ReadServices& services, const StoredVersion& version, const Spool& spool,
               const SpoolFile& file, std::uint64_t count);

}  // namespace b2drive::mount
