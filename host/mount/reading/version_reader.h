#pragma once

#include <list>
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

// One handle's reading of one file: how far it asks ahead. Its reads are told apart by where they
// go on: programs read at several places in turn, upwards or downwards, or at even distances.
// Ranges are short at first and grow while reading goes on in sequence; more are on their way at a
// time, up to 8, whenever a read had to wait for one, and so as many as the reader has use for.
// Thread-safe.
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
  // Reads that follow each other, in bytes of the file.
  struct Course {
    std::uint64_t low = 0;  // where they were
    std::uint64_t high = 0;
    std::uint64_t range = 0;  // that is asked for at once
    std::size_t most = 0;     // ranges on their way at a time
    int downward = 0;         // reads in a row that went on below
    std::int64_t step = 0;    // from where the last course began to where this one did
    int even_steps = 0;       // courses before it, in a row, with that step
    std::uint64_t begun = 0;  // the number of its first read and of its last
    std::uint64_t used = 0;
    std::vector<Running> running;

    bool goes_down() const;
    bool goes_even() const;
    // Whether a read goes on where this course is.
    bool IsNear(std::uint64_t offset, std::uint64_t end) const;
    void Note(std::uint64_t offset, std::uint64_t end, std::uint64_t longest);
  };
  using CoursePtr = std::shared_ptr<Course>;
  using Cached = std::shared_ptr<CachedVersion>;

  // The course that a read belongs to, or begins.
  CoursePtr Follow(std::uint64_t offset, std::uint64_t end);
  CoursePtr NewCourse(std::uint64_t offset, std::uint64_t end) B2_REQUIRES(mutex_);
  void DropBefore(const Course& course) B2_REQUIRES(mutex_);
  // Bytes to ask for where a read finds nothing.
  std::uint64_t RangeFor(const Course& course);
  void Grow(Course& course);
  // Asks for what the reader comes to next.
  void Ahead(const StoredVersion& version, const Cached& cached, Course& course,
             std::uint64_t offset, std::uint64_t end);
  FetchPtr ClaimAhead(CachedVersion& cached, const Course& course, std::uint64_t offset,
                      std::uint64_t end) B2_REQUIRES(mutex_);
  static FetchPtr ClaimSteps(CachedVersion& cached, const Course& course);
  void Begin(const StoredVersion& version, const Cached& cached, const FetchPtr& fetch,
             Course& course);
  void InBackground(const StoredVersion& version, const Cached& cached, const FetchPtr& fetch);
  static void Drop(Course& course);
  // Without the cache, when its disk is full.
  std::size_t ReadThrough(const StoredVersion& version, std::uint64_t offset, char* data,
                          std::size_t count);

  ReadServices services_;
  Mutex mutex_;                                         // of the courses, and of what is in them
  std::list<CoursePtr> courses_ B2_GUARDED_BY(mutex_);  // the last used in front
  std::uint64_t reads_ B2_GUARDED_BY(mutex_) = 0;
};

// Brings `fetch` into `cached` on this thread; its error goes to those who wait.
void RunFetch(const ReadServices& services, const StoredVersion& version,
              const std::shared_ptr<CachedVersion>& cached, const FetchPtr& fetch) noexcept;

// Writes the first `count` bytes of a version into a file. Throws FsError.
void BringInto(const ReadServices& services, const StoredVersion& version, const Spool& spool,
               const SpoolFile& file, std::uint64_t count);

}  // namespace b2drive::mount
