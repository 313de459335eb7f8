#pragma once

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <vector>

#include "host/common/fs_error.h"
#include "host/local/local_io.h"
#include "host/mount/journal/disk.h"

namespace b2drive::mount {

// A disk that fails or loses its power at a chosen operation, and knows what is left of it then: of
// files what they held at their last sync, of names what they meant at their folder's last sync,
// and of what came later all, nothing or some. As with Linux, what a sync could not bring to the
// disk no later sync brings there either, though it says so, until it is written anew. Operations
// are those that change or sync something. Folders themselves are always left. Thread-safe.
class FaultyDisk : public Disk {
  using Path = std::filesystem::path;

 public:
  // All that stands in `folder` is synced.
  explicit FaultyDisk(const Path& folder) : folder_(folder) {
    if (!exists(folder_)) return;
    for (const auto& item : std::filesystem::recursive_directory_iterator(folder_)) {
      if (!item.is_regular_file()) continue;
      const FilePtr file = Find(item.path());
      file->synced = file->Contents();
      names_[item.path()] = {file};
    }
  }

  // The `at`-th operation, the first being 1, fails with `error` and does nothing; EMFILE waits for
  // one that opens a file. With 0 the power is cut, and `then` is run, which must not use the disk.
  void DisturbAt(int at, int error, std::function<void()> then = {}) {
    at_ = at;
    error_ = error;
    then_ = std::move(then);
  }

  std::atomic<bool> off = false;  // operations fail and are not counted
  std::atomic<bool> disturbed = false;
  std::atomic<bool> gave_up = false;
  std::atomic<int> operations = 0;

  enum class Left { kSynced, kWritten, kMixed };
  // Makes `folder` what the next boot finds. Where it is mixed each name means anything that it did
  // since it was synced, and files are kept, dropped or torn, as `seed` has it.
  void Leave(const Path& folder, Left left, unsigned seed) const {
    constexpr unsigned kKinds = 8;
    std::lock_guard lock(mutex_);
    std::mt19937 random(seed);
    // The first, the last or any of `count`.
    const auto choose = [&](std::size_t count) {
      return left == Left::kSynced ? 0 : left == Left::kWritten ? count - 1 : random() % count;
    };
    std::map<FilePtr, std::string> contents;
    for (const auto& [number, file] : by_number_) contents[file] = file->Torn(choose(kKinds));
    for (const auto& [path, history] : names_) {
      const FilePtr& file = history[choose(history.size())];
      const Path target = folder / relative(path, folder_);
      create_directories(target.parent_path());
      if (file) std::ofstream(target, std::ios::binary) << contents[file];
    }
  }

  UniqueFd Open(const Path& path, int flags) override {
    std::lock_guard lock(mutex_);
    const bool changes = (flags & (O_CREAT | O_TRUNC)) != 0;
    const int error = changes ? Begin(true) : 0;
    if (error != 0) throw FsError(error, path.string() + ": the disk fails");
    UniqueFd fd = SystemDisk().Open(path, flags);
    Note(path, Find(path));
    return fd;
  }
  int Write(int fd, const char* data, std::size_t count, std::uint64_t offset) override {
    return Do([&] {
      File& file = *by_number_.at(NumberOf(fd));
      file.given_up = file.given_up && (offset != 0 || count < SizeOf(fd));
      return SystemDisk().Write(fd, data, count, offset);
    });
  }
  int Resize(int fd, std::uint64_t size) override {
    return Do([&] { return SystemDisk().Resize(fd, size); });
  }
  int Free(int fd, std::uint64_t offset, std::uint64_t count) override {
    return Do([&] { return SystemDisk().Free(fd, offset, count); });
  }
  int Copy(int from, int to, std::uint64_t count) override {
    return Do([&] { return SystemDisk().Copy(from, to, count); });
  }
  int Sync(int fd) override {
    std::lock_guard lock(mutex_);
    File& file = *by_number_.at(NumberOf(fd));
    const int error = Begin(false);
    if (error != 0 && !off) file.given_up = gave_up = true;
    if (!file.given_up) file.synced = file.Contents();
    return error;
  }
  int SyncFolder(const Path& folder) override {
    return Do(true, [&] {
      for (auto& [path, history] : names_) {
        if (path.parent_path() == folder) history = {history.back()};
      }
      return 0;
    });
  }
  int Rename(const Path& from, const Path& to) override {
    return Do([&] {
      const int error = SystemDisk().Rename(from, to);
      if (error != 0) return error;
      Note(to, names_.at(from).back());
      Note(from, nullptr);
      return 0;
    });
  }
  int Remove(const Path& path) override {
    return Do([&] {
      const int error = SystemDisk().Remove(path);
      if (error == 0) Note(path, nullptr);
      return error;
    });
  }

 private:
  struct File {
    std::string Contents() const {
      std::string text(SizeOf(fd.get()), '\0');
      ReadAt(fd.get(), text.data(), text.size(), 0);
      return text;
    }
    // What may be left; most often all.
    std::string Torn(std::size_t kind) const {
      const std::string written = Contents();
      const std::size_t half = written.size() / 2;
      if (synced == written || kind > 3) return written;
      if (kind == 0) return synced;
      if (synced.size() == written.size()) {  // in place: as far as the disk came
        const auto [old, now] = std::ranges::mismatch(synced, written);
        const auto at = static_cast<std::size_t>(old - synced.begin()) + 20 * kind;
        return at < written.size() ? written.substr(0, at) + synced.substr(at) : written;
      }
      if (kind == 1) return std::string(written.size(), '\0');
      const bool over = kind == 2 && synced.size() > half;
      return written.substr(0, half) + (over ? synced.substr(half) : "");
    }

    UniqueFd fd;  // open as long as the disk, so that no other file gets its number
    std::string synced;
    bool given_up = false;
  };
  using FilePtr = std::shared_ptr<File>;
  using History = std::vector<FilePtr>;  // what a name meant, from its last sync on; null: nothing

  static std::uint64_t NumberOf(int fd) {
    struct stat status {};
    fstat(fd, &status);
    return status.st_ino;
  }

  int Begin(bool opens) {
    if (off) return EIO;
    const bool due = at_ != 0 && ++operations >= at_ && !disturbed;
    if (!due || (error_ == EMFILE && !opens)) return 0;
    disturbed = true;
    off = error_ == 0;
    if (off && then_) then_();
    return off ? EIO : error_;
  }

  int Do(const std::function<int()>& action) { return Do(false, action); }
  int Do(bool opens, const std::function<int()>& action) {
    std::lock_guard lock(mutex_);
    const int error = Begin(opens);
    return error != 0 ? error : action();
  }

  FilePtr Find(const Path& path) {
    UniqueFd fd = SystemDisk().Open(path, O_RDONLY);
    FilePtr& file = by_number_[NumberOf(fd.get())];
    if (!file) file = std::make_shared<File>(File{std::move(fd), "", false});
    return file;
  }

  void Note(const Path& path, FilePtr file) {
    History& history = names_.try_emplace(path, History{nullptr}).first->second;
    if (history.back() != file) history.push_back(std::move(file));
  }

  const Path folder_;
  mutable std::mutex mutex_;
  std::map<Path, History> names_;
  std::map<std::uint64_t, FilePtr> by_number_;
  int at_ = 0;
  int error_ = 0;
  std::function<void()> then_;
};

}  // namespace b2drive::mount
