#include "host/mount/journal/entry_files.h"

#include <fcntl.h>

#include <cerrno>
#include <string>
#include <utility>

#include "host/common/fs_error.h"
#include "host/mount/journal/journal_scan.h"

namespace b2drive::mount {
namespace fs = std::filesystem;
namespace {

constexpr char kSpareSuffix[] = ".spare";
constexpr std::size_t kMostSpares = 64;

void Check(int error, const fs::path& file, const char* what) {
  if (error != 0) throw FsError(error, file.string() + ": " + what);
}

}  // namespace

void EntryFiles::SkipNumbersTo(std::uint64_t last) {
  Lock lock(mutex_);
  next_ = last + 1;
}

std::uint64_t EntryFiles::NextNumber() {
  Lock lock(mutex_);
  return next_++;
}

fs::path EntryFiles::NewName(const char* suffix) {
  return folder_ / (std::to_string(NextNumber()) + suffix);
}

// Written into a spare, which may hold an older text.
void EntryFiles::Write(const JournalEntry& entry) {
  const bool secured = entry.boot.empty();
  const fs::path file = EntryFileOf(folder_ / entry.file);
  const fs::path spare = TakeSpare(secured);
  const std::string text = EntryTextOf(entry);
  const UniqueFd fd = disk_.Open(spare, O_WRONLY | O_CREAT);
  int error = disk_.Write(fd.get(), text.data(), text.size(), 0);
  // Not emptied first: ext4 then begins to write to the disk at every close.
  if (error == 0) error = disk_.Resize(fd.get(), text.size());
  if (error == 0 && secured) error = disk_.Sync(fd.get());
  if (error == 0) error = disk_.Rename(spare, file);
  if (error == 0) return;
  disk_.Remove(spare);
  Check(error, file, "cannot be written");
}

void EntryFiles::Remove(const fs::path& contents, bool synced) {
  const fs::path file = EntryFileOf(contents);
  // Not the contents' own name: they may be entered and removed again before the spare is used.
  const fs::path spare = NewName(kSpareSuffix);
  const int kept = disk_.Rename(file, spare);
  if (kept != 0 && kept != ENOENT) {  // a full disk, or folder
    const int error = disk_.Remove(file);
    if (error != ENOENT) Check(error, contents, "its journal entry cannot be removed");
  }
  if (synced && disk_.SyncFolder(folder_) != 0) {
    Check(disk_.SyncFolder(folder_), folder_, "not synced");
  }
  if (kept == 0) KeepSpare(spare, synced);
}

void EntryFiles::DropSpares() {
  Lock lock(mutex_);
  spares_.clear();
  synced_spares_.clear();
}

fs::path EntryFiles::TakeSpare(bool secured) {
  {
    Lock lock(mutex_);
    auto& spares = secured || spares_.empty() ? synced_spares_ : spares_;
    if (!spares.empty()) {
      fs::path spare = std::move(spares.back());
      spares.pop_back();
      return spare;
    }
  }
  return NewName(kSpareSuffix);
}

void EntryFiles::KeepSpare(const fs::path& spare, bool synced) {
  {
    Lock lock(mutex_);
    auto& spares = synced ? synced_spares_ : spares_;
    if (spares.size() < kMostSpares) {
      spares.push_back(spare);
      return;
    }
  }
  disk_.Remove(spare);
}

}  // namespace b2drive::mount
