#include "tests/mount/faulty_disk.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <fstream>
#include <random>

#include "host/common/fs_error.h"
#include "host/local/local_io.h"

namespace b2drive::mount {
namespace fs = std::filesystem;
namespace {

std::string Contents(int fd) {
  std::string text(SizeOf(fd), '\0');
  ReadAt(fd, text.data(), text.size(), 0);
  return text;
}

std::uint64_t NumberOf(int fd) {
  struct stat status {};
  fstat(fd, &status);
  return status.st_ino;
}

// What may be left of a file; most often all.
std::string Torn(const std::string& synced, const std::string& written, unsigned kind) {
  const std::size_t half = written.size() / 2;
  if (synced == written || kind > 3) return written;
  if (kind == 0) return synced;
  if (kind == 1) return std::string(written.size(), '\0');
  const bool over = kind == 2 && synced.size() > half;
  return written.substr(0, half) + (over ? synced.substr(half) : "");
}

}  // namespace

FaultyDisk::FaultyDisk(fs::path folder) : folder_(std::move(folder)) {
  if (!fs::exists(folder_)) return;
  for (const auto& item : fs::recursive_directory_iterator(folder_)) {
    if (!item.is_regular_file()) continue;
    const FilePtr file = Find(item.path());
    file->synced = Contents(file->fd.get());
    names_[item.path()] = {file};
  }
}

void FaultyDisk::DisturbAt(int at, int error, std::function<void()> then) {
  at_ = at;
  error_ = error;
  then_ = std::move(then);
}

FaultyDisk::FilePtr FaultyDisk::Find(const fs::path& path) {
  UniqueFd fd = SystemDisk().Open(path, O_RDONLY);
  FilePtr& file = by_number_[NumberOf(fd.get())];
  if (!file) file = std::make_shared<File>(File{std::move(fd), ""});
  return file;
}

void FaultyDisk::Note(const fs::path& path, FilePtr file) {
  History& history = names_.try_emplace(path, History{nullptr}).first->second;
  if (history.back() != file) history.push_back(std::move(file));
}

int FaultyDisk::Begin(bool opens) {
  if (off) return EIO;
  const bool due = at_ != 0 && ++operations >= at_ && !disturbed;
  if (!due || (error_ == EMFILE && !opens)) return 0;
  disturbed = true;
  off = error_ == 0;
  if (off && then_) then_();
  return off ? EIO : error_;
}

template <typename Action>
int FaultyDisk::Do(Action action) {
  std::lock_guard lock(mutex_);
  const int error = Begin(false);
  return error != 0 ? error : action();
}

UniqueFd FaultyDisk::Open(const fs::path& path, int flags) {
  std::lock_guard lock(mutex_);
  const bool changes = (flags & (O_CREAT | O_TRUNC)) != 0;
  const int error = changes ? Begin(true) : 0;
  if (error != 0) throw FsError(error, path.string() + ": the disk fails");
  UniqueFd fd = SystemDisk().Open(path, flags);
  Note(path, Find(path));
  return fd;
}

int FaultyDisk::Write(int fd, const char* data, std::size_t count, std::uint64_t offset) {
  return Do([&] { return SystemDisk().Write(fd, data, count, offset); });
}

int FaultyDisk::Resize(int fd, std::uint64_t size) {
  return Do([&] { return SystemDisk().Resize(fd, size); });
}

int FaultyDisk::Free(int fd, std::uint64_t offset, std::uint64_t count) {
  return Do([&] { return SystemDisk().Free(fd, offset, count); });
}

int FaultyDisk::Copy(int from, int to, std::uint64_t count) {
  return Do([&] { return SystemDisk().Copy(from, to, count); });
}

int FaultyDisk::Sync(int fd) {
  return Do([&] {
    File& file = *by_number_.at(NumberOf(fd));
    file.synced = Contents(file.fd.get());
    return 0;
  });
}

int FaultyDisk::SyncFolder(const fs::path& folder) {
  return Do([&] {
    for (auto& [path, history] : names_) {
      if (path.parent_path() == folder) history = {history.back()};
    }
    return 0;
  });
}

int FaultyDisk::Rename(const fs::path& from, const fs::path& to) {
  return Do([&] {
    const int error = SystemDisk().Rename(from, to);
    if (error != 0) return error;
    Note(to, names_.at(from).back());
    Note(from, nullptr);
    return 0;
  });
}

int FaultyDisk::Remove(const fs::path& path) {
  return Do([&] {
    const int error = SystemDisk().Remove(path);
    if (error == 0) Note(path, nullptr);
    return error;
  });
}

void FaultyDisk::Leave(const fs::path& folder, Left left, unsigned seed) const {
  constexpr unsigned kKinds = 8;
  std::lock_guard lock(mutex_);
  std::mt19937 random(seed);
  // The first, the last or any of `count`.
  const auto choose = [&](unsigned count) {
    return left == Left::kSynced    ? 0U
           : left == Left::kWritten ? count - 1
                                    : static_cast<unsigned>(random() % count);
  };
  std::map<FilePtr, std::string> contents;
  for (const auto& [number, file] : by_number_) {
    contents[file] = Torn(file->synced, Contents(file->fd.get()), choose(kKinds));
  }
  for (const auto& [path, history] : names_) {
    const FilePtr& file = history[choose(static_cast<unsigned>(history.size()))];
    const fs::path target = folder / fs::relative(path, folder_);
    fs::create_directories(target.parent_path());
    if (file) std::ofstream(target, std::ios::binary) << contents[file];
  }
}

}  // namespace b2drive::mount
