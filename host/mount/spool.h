#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "host/unique_fd.h"

namespace b2drive::mount {

// A file in the spool folder: contents that a program writes or that wait to be sent. Removed with
// the object unless a journal entry names it. Not locked: its owner does.
class SpoolFile {
 public:
  SpoolFile(std::filesystem::path file, UniqueFd fd) : file_(std::move(file)), fd_(std::move(fd)) {}
  ~SpoolFile();
  SpoolFile(const SpoolFile&) = delete;
  SpoolFile& operator=(const SpoolFile&) = delete;

  int fd() const { return fd_.get(); }
  const std::filesystem::path& file() const { return file_; }
  std::uint64_t Size() const;  // bytes

 private:
  friend class Spool;

  const std::filesystem::path file_;
  UniqueFd fd_;
  bool journaled_ = false;
};
using SpoolPtr = std::shared_ptr<SpoolFile>;

// Contents that were closed or synced and that the service does not hold yet.
struct Unsent {
  std::string path;  // on the drive
  SpoolPtr contents;
};

// The spool folder with its journal: beside a spool file that is to be sent stands a file of the
// same name and ".json" that says where it goes. What has no journal entry was never finished and
// is removed at the next start. Thread-safe. All throw FsError.
class Spool {
 public:
  explicit Spool(std::filesystem::path folder);

  // What an earlier mount left unsent. To be called once, before anything else.
  std::vector<Unsent> Recover();

  SpoolPtr Make();
  SpoolPtr Clone(const SpoolFile& original);

  // Notes that `contents` are to be sent to `path`; also when they are noted already.
  void Enter(SpoolFile& contents, const std::string& path);
  // The entry outlives the machine, too.
  void Secure(const SpoolFile& contents);
  // They were sent, or nobody wants them any more.
  void Strike(SpoolFile& contents);

 private:
  std::optional<Unsent> Load(const std::filesystem::path& entry);
  std::filesystem::path NewName(const char* suffix);
  std::filesystem::path TakeSpare();
  void KeepSpare(const std::filesystem::path& spare);

  const std::filesystem::path folder_;
  std::mutex mutex_;  // guards what follows
  std::uint64_t next_ = 0;
  // Entries that were struck, for the next ones: ext4 looks at every file removed in the last
  // minute when it makes one, which would be most of the work of copying many small files.
  std::vector<std::filesystem::path> spares_;
};

}  // namespace b2drive::mount
