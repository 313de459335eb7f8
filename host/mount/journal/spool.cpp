#include "host/mount/journal/spool.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>

#include "host/common/fs_error.h"
#include "host/local/local_io.h"
#include "host/mount/journal/journal_entry.h"
#include "host/mount/journal/journal_scan.h"

namespace b2drive::mount {
namespace fs = std::filesystem;
namespace {

constexpr char kSpareSuffix[] = ".spare";
constexpr std::size_t kMostSpares = 64;

}  // namespace

SpoolFile::~SpoolFile() {
  if (entry_ == EntryState::kNone) disk_.Remove(file_);
}

std::uint64_t SpoolFile::Size() const { return SizeOf(fd_.get()); }

Spool::Spool(Disk& disk, fs::path folder, std::string boot)
    : disk_(disk), folder_(std::move(folder)), boot_(std::move(boot)) {
  std::error_code error;
  fs::create_directories(AsideOf(folder_), error);
  Check(error.value(), folder_, "cannot be made");
}

void Spool::Check(int error, const fs::path& file, const char* what) const {
  if (error != 0) throw FsError(error, file.string() + ": " + what);
}

SpoolPtr Spool::Opened(const ScannedEntry& scanned) {
  const bool secured = scanned.entry.boot.empty();
  auto contents =
      std::make_shared<SpoolFile>(disk_, scanned.contents, disk_.Open(scanned.contents, O_RDWR));
  contents->entry_ = secured ? SpoolFile::EntryState::kSecured : SpoolFile::EntryState::kWritten;
  // Before an earlier one of the same name goes.
  if (!secured) Secure(*contents, scanned.entry.destination);
  return contents;
}

Spool::Found Spool::Recover() {
  const JournalScan scan = ScanJournal(disk_, folder_, boot_);
  {
    Lock lock(mutex_);
    next_ = scan.last_number + 1;
  }
  Found found;
  for (const ScannedEntry& scanned : scan.entries) {
    SpoolPtr contents = Opened(scanned);
    const Destination& destination = scanned.entry.destination;
    const auto earlier = std::ranges::find(
        found.unsent, destination.path,
        [](const Unsent& unsent) -> const std::string& { return unsent.destination.path; });
    if (earlier != found.unsent.end()) {
      RemoveEntry(*earlier->contents);
      found.unsent.erase(earlier);
    }
    found.unsent.push_back({destination, std::move(contents)});
  }
  found.damaged = RemoveUnnamed(disk_, folder_);
  Lock lock(mutex_);
  spares_.clear();
  return found;
}

SpoolPtr Spool::Make() {
  fs::path file = NewName("");
  UniqueFd fd = disk_.Open(file, O_RDWR | O_CREAT | O_EXCL);
  return std::make_shared<SpoolFile>(disk_, std::move(file), std::move(fd));
}

SpoolPtr Spool::Clone(const SpoolFile& original) {
  SpoolPtr copy = Make();
  Check(disk_.Copy(original.fd(), copy->fd(), original.Size()), copy->file(), "cannot be copied");
  return copy;
}

void Spool::Write(const SpoolFile& file, const char* data, std::size_t count,
                  std::uint64_t offset) const {
  Check(TryWrite(file, data, count, offset), file.file(), "cannot be written");
}

int Spool::TryWrite(const SpoolFile& file, const char* data, std::size_t count,
                    std::uint64_t offset) const {
  return disk_.Write(file.fd(), data, count, offset);
}

void Spool::Resize(const SpoolFile& file, std::uint64_t size) const {
  Check(disk_.Resize(file.fd(), size), file.file(), "cannot be made larger or smaller");
}

void Spool::Enter(SpoolFile& contents, const Destination& destination) {
  WriteEntry(contents, destination, contents.entry_ == SpoolFile::EntryState::kSecured);
}

void Spool::Secure(SpoolFile& contents, const Destination& destination) {
  Check(disk_.Sync(contents.fd()), contents.file(), "not synced");
  WriteEntry(contents, destination, true);
}

// Written into a spare, which may hold an older text, and in place at once, so that an entry is
// never read half.
void Spool::WriteEntry(SpoolFile& contents, const Destination& destination, bool secured) {
  const fs::path spare = TakeSpare();
  const fs::path file = EntryFileOf(contents.file());
  std::uint64_t order = 0;
  {
    Lock lock(mutex_);
    order = next_++;
  }
  const std::string text = EntryTextOf({contents.file().filename().string(), contents.Size(), order,
                                        secured ? "" : boot_, destination});
  const UniqueFd fd = disk_.Open(spare, O_WRONLY | O_CREAT);
  int error = disk_.Write(fd.get(), text.data(), text.size(), 0);
  // Not emptied first: ext4 then begins to write to the disk at every close.
  if (error == 0) error = disk_.Resize(fd.get(), text.size());
  if (error == 0 && secured) error = disk_.Sync(fd.get());
  if (error == 0) error = disk_.Rename(spare, file);
  if (error != 0) {
    disk_.Remove(spare);
    Check(error, file, "cannot be written");
  }
  // Before the folder is synced: the entry is there in any case.
  if (contents.entry_ == SpoolFile::EntryState::kNone)
    contents.entry_ = SpoolFile::EntryState::kWritten;
  if (!secured) return;
  Check(disk_.SyncFolder(folder_), folder_, "not synced");
  contents.entry_ = SpoolFile::EntryState::kSecured;
}

void Spool::RemoveEntry(SpoolFile& contents) {
  if (contents.entry_ == SpoolFile::EntryState::kNone) return;
  const bool secured = contents.entry_ == SpoolFile::EntryState::kSecured;
  // Not the contents' own name: they may be entered and removed again before the spare is used.
  const fs::path spare = NewName(kSpareSuffix);
  const int kept = disk_.Rename(EntryFileOf(contents.file()), spare);
  if (kept != 0 && kept != ENOENT) {  // a full disk, or folder
    const int error = disk_.Remove(EntryFileOf(contents.file()));
    if (error != ENOENT) Check(error, contents.file(), "its journal entry cannot be removed");
  }
  if (secured && disk_.SyncFolder(folder_) != 0) {
    Check(disk_.SyncFolder(folder_), folder_, "not synced");
  }
  contents.entry_ = SpoolFile::EntryState::kNone;
  if (kept == 0) KeepSpare(spare);
}

fs::path Spool::NewName(const char* suffix) {
  Lock lock(mutex_);
  return folder_ / (std::to_string(next_++) + suffix);
}

fs::path Spool::TakeSpare() {
  {
    Lock lock(mutex_);
    if (!spares_.empty()) {
      fs::path spare = std::move(spares_.back());
      spares_.pop_back();
      return spare;
    }
  }
  return NewName(kSpareSuffix);
}

void Spool::KeepSpare(const fs::path& spare) {
  {
    Lock lock(mutex_);
    if (spares_.size() < kMostSpares) {
      spares_.push_back(spare);
      return;
    }
  }
  disk_.Remove(spare);
}

}  // namespace b2drive::mount
