#pragma once

#include <atomic>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "host/mount/journal/disk.h"

namespace b2drive::mount {

// A disk that fails or loses its power at a chosen operation, and knows what is left of it then: of
// files what they held at their last sync, of names what they meant at their folder's last sync,
// and of what came later all, nothing or some. Operations are those that change or sync something.
// Folders themselves are always left. Thread-safe.
class FaultyDisk : public Disk {
 public:
  // All that stands in `folder` is synced.
  explicit FaultyDisk(std::filesystem::path folder);

  // The `at`-th operation, the first being 1, fails with `error` and does nothing; EMFILE waits for
  // one that opens a file. With 0 the power is cut, and `then` is run, which must not use the disk.
  void DisturbAt(int at, int error, std::function<void()> then = {});

  std::atomic<bool> off = false;  // operations fail and are not counted
  std::atomic<bool> disturbed = false;
  std::atomic<int> operations = 0;

  enum class Left { kSynced, kWritten, kMixed };
  // Makes `folder` what the next boot finds. Where it is mixed each name means anything that it did
  // since it was synced, and files are kept, dropped or torn, as `seed` has it.
  void Leave(const std::filesystem::path& folder, Left left, unsigned seed) const;

  UniqueFd Open(const std::filesystem::path& file, int flags) override;
  int Write(int fd, const char* data, std::size_t count, std::uint64_t offset) override;
  int Resize(int fd, std::uint64_t size) override;
  int Free(int fd, std::uint64_t offset, std::uint64_t count) override;
  int Copy(int from, int to, std::uint64_t count) override;
  int Sync(int fd) override;
  int SyncFolder(const std::filesystem::path& folder) override;
  int Rename(const std::filesystem::path& from, const std::filesystem::path& to) override;
  int Remove(const std::filesystem::path& file) override;

 private:
  struct File {
    UniqueFd fd;  // open as long as the disk, so that no other file gets its number
    std::string synced;
  };
  using FilePtr = std::shared_ptr<File>;
  using History = std::vector<FilePtr>;  // what a name meant, from its last sync on; null: nothing

  int Begin(bool opens);
  template <typename Action>
  int Do(Action action);
  FilePtr Find(const std::filesystem::path& path);
  void Note(const std::filesystem::path& path, FilePtr file);

  const std::filesystem::path folder_;
  mutable std::mutex mutex_;
  std::map<std::filesystem::path, History> names_;
  std::map<std::uint64_t, FilePtr> by_number_;
  int at_ = 0;
  int error_ = 0;
  std::function<void()> then_;
};

}  // namespace b2drive::mount
