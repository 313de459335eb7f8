#include "host/mount/journal/spool.h"

#include <fcntl.h>

#include <algorithm>

#include "host/common/fs_error.h"
#include "host/local/local_io.h"
#include "host/mount/journal/spool_replay.h"
#include "host/terminal/notices.h"

namespace b2drive::mount {
namespace fs = std::filesystem;
namespace {

constexpr std::uint64_t kMostRemoval = 300;         // bytes of the record that removes an entry
constexpr std::uint64_t kMostLogged = 128UL << 10;  // bytes; of more the copy costs more than syncs

}  // namespace

Spool::Spool(Disk& disk, fs::path folder, std::string boot, std::uint64_t log_size)
    : disk_(disk),
      folder_(std::move(folder)),
      boot_(std::move(boot)),
      entries_(disk, folder_),
      log_(disk, folder_, log_size),
      log_is_off_(boot_ == kUnknownBoot) {
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
  SetEntry(*contents, secured ? SpoolFile::EntryState::kSecured : SpoolFile::EntryState::kWritten);
  // Before an earlier one of the same name goes.
  if (!secured) SecureInFiles(*contents, scanned.entry);
  return contents;
}

Spool::Found Spool::Recover() {
  const bool whole_log = ReplaySpoolLog(disk_, folder_, boot_);
  const JournalScan scan = ScanJournal(disk_, folder_, boot_);
  entries_.SkipNumbersTo(scan.last_number);
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
  if (!whole_log) PutLogAside();
  if (SpoolLog::IsIn(folder_)) {  // all that it says is in synced files now
    const Lock lock(log_mutex_);
    log_.Clear();
  }
  found.damaged = RemoveUnnamed(disk_, folder_);
  entries_.DropSpares();
  return found;
}

void Spool::PutLogAside() {
  const std::string damaged = "the log of small files is damaged, some may be missing or back; ";
  const fs::path place = LogAsideOf(folder_, entries_.NextNumber());
  try {
    SpoolLog::PutAside(disk_, folder_, place);
    Notice(damaged + "it is kept as " + place.string());
  } catch (const FsError& error) {  // all of it that can be read is secured
    Notice(damaged + error.what());
  }
}

SpoolPtr Spool::Make() {
  fs::path file = entries_.NewName("");
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
  contents.IsSecured() ? Secure(contents, destination) : WriteEntry(contents, destination);
}

void Spool::Secure(SpoolFile& contents, const Destination& destination) {
  if (!SecureInLog(contents, destination)) SecureInFiles(contents, EntryOf(contents, destination));
}

JournalEntry Spool::EntryOf(const SpoolFile& contents, const Destination& destination) {
  return {contents.file().filename().string(),
          contents.Size(),
          entries_.NextNumber(),
          boot_,
          destination,
          contents.Modified()};
}

void Spool::WriteEntry(SpoolFile& contents, const Destination& destination) {
  entries_.Write(EntryOf(contents, destination));
  if (contents.entry_ == SpoolFile::EntryState::kNone)
    SetEntry(contents, SpoolFile::EntryState::kWritten);
}

// What its file could not bring to the disk the log has.
void Spool::SyncLogged(SpoolFile& contents, const JournalEntry& logged) {
  try {
    return contents.Sync();
  } catch (const FsError& error) {
    Notice(std::string(error.what()) + "; it is written anew");
  }
  const std::string entry = EntryTextOf(logged);
  const std::vector<SpoolLog::Record> records = SpoolLog::Read(disk_, folder_).records;
  const auto found = std::ranges::find(records, entry, &SpoolLog::Record::entry);
  found != records.end() ? contents.WriteAnew(found->contents) : contents.WriteAnew();
  contents.Sync();
}

void Spool::SecureInFiles(SpoolFile& contents, JournalEntry entry) {
  contents.Sync();
  entry.boot.clear();
  entries_.Write(entry);
  // Before the folder is synced: the entry is there in any case.
  if (contents.entry_ == SpoolFile::EntryState::kNone)
    SetEntry(contents, SpoolFile::EntryState::kWritten);
  Check(disk_.SyncFolder(folder_), folder_, "not synced");
  SetEntry(contents, SpoolFile::EntryState::kSecured);
}

bool Spool::SecureInLog(SpoolFile& contents, const Destination& destination) {
  const std::uint64_t size = contents.Size();
  if (size > kMostLogged) return false;
  const Lock lock(log_mutex_);
  if (contents.HasFailedToSync()) {
    if (contents.entry_ == SpoolFile::EntryState::kLogged) EmptyLog();
    return false;
  }
  const JournalEntry entry = EntryOf(contents, destination);
  SpoolLog::Record record{EntryTextOf(entry), std::string(size, '\0')};
  if (ReadAt(contents.fd(), record.contents.data(), size, 0) != size) return false;
  // A full disk must not keep what is in the log from being removed.
  const std::uint64_t removals = (logged_.size() + 1) * kMostRemoval;
  if (!MakeRoomFor(record, removals)) return false;
  // Its file's entry is synced, and must not give way to one that is not.
  if (contents.entry_ == SpoolFile::EntryState::kSecured) return false;
  entries_.Write(entry);
  if (contents.entry_ == SpoolFile::EntryState::kNone)
    SetEntry(contents, SpoolFile::EntryState::kWritten);
  if (!Log(record)) return false;
  logged_.insert_or_assign(contents.shared_from_this(), entry);
  SetEntry(contents, SpoolFile::EntryState::kLogged);
  return true;
}

bool Spool::RemoveInLog(SpoolFile& contents) {
  const Lock lock(log_mutex_);
  const SpoolLog::Record record{EntryTextOf(EntryOf(contents, {})), ""};
  // What is not in the log may be in one that is given up, but could not be removed.
  if (log_is_off_) EmptyLog();
  const bool logged = contents.entry_ == SpoolFile::EntryState::kLogged && MakeRoomFor(record, 0) &&
                      contents.entry_ == SpoolFile::EntryState::kLogged && Log(record);
  if (!logged) return false;
  entries_.Remove(contents.file(), false);
  SetEntry(contents, SpoolFile::EntryState::kNone);
  logged_.erase(contents.shared_from_this());
  return true;
}

// False when it is to be said in files: then nothing is in the log any more.
bool Spool::MakeRoomFor(const SpoolLog::Record& record, std::uint64_t rest) {
  if (!log_is_off_ && log_.HasRoomFor(record, rest)) return true;
  EmptyLog();
  return !log_is_off_ && log_.HasRoomFor(record, rest);
}

// As MakeRoomFor.
bool Spool::Log(const SpoolLog::Record& record) {
  try {
    log_.Add(record);
    return true;
  } catch (const FsError& error) {
    log_is_off_ = true;
    Notice(std::string(error.what()) + "; each file is synced by itself from now on");
  }
  EmptyLog();
  return false;
}

// What it alone secures is secured in files.
void Spool::EmptyLog() {
  if (logged_.empty() && !log_.is_there()) return;
  for (const auto& [contents, logged] : logged_) {
    SyncLogged(*contents, logged);
    JournalEntry entry = logged;
    entry.boot.clear();
    entries_.Write(entry);
  }
  Check(disk_.SyncFolder(folder_), folder_, "not synced");
  log_.Clear();
  for (const auto& [contents, entry] : logged_) {
    SetEntry(*contents, SpoolFile::EntryState::kSecured);
  }
  logged_.clear();
}

void Spool::SetEntry(SpoolFile& contents, SpoolFile::EntryState state) {
  const bool before = contents.entry_.exchange(state) != SpoolFile::EntryState::kNone;
  const bool now = state != SpoolFile::EntryState::kNone;
  if (before == now) return;
  if (now) {
    contents.counted_ = contents.Size();
    ++held_files_;
    held_bytes_ += contents.counted_;
  } else {
    --held_files_;
    held_bytes_ -= contents.counted_;
  }
}

// What stays the next mount sends: a failure that passes must not be the reason.
void Spool::RemoveEntry(SpoolFile& contents) {
  if (contents.entry_ == SpoolFile::EntryState::kNone) return;
  try {
    if (RemoveInLog(contents)) return;
  } catch (const FsError&) {
    if (RemoveInLog(contents)) return;
  }
  entries_.Remove(contents.file(), contents.entry_ == SpoolFile::EntryState::kSecured);
  SetEntry(contents, SpoolFile::EntryState::kNone);
}

}  // namespace b2drive::mount
