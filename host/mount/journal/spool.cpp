#include "host/mount/journal/spool.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <iterator>

#include "host/common/fs_error.h"
#include "host/local/local_io.h"
#include "host/mount/journal/journal_entry.h"
#include "host/terminal/notices.h"

namespace b2drive::mount {
namespace fs = std::filesystem;
namespace {

constexpr char kEntrySuffix[] = ".json";
constexpr char kSpareSuffix[] = ".spare";
constexpr std::size_t kMostSpares = 64;

fs::path EntryOf(const fs::path& contents) { return contents.string() + kEntrySuffix; }

fs::path ContentsOf(fs::path entry) { return entry.replace_extension(); }

// Whatever else lies in the folder is not the spool's.
bool IsEntry(const fs::path& file) {
  const std::string stem = file.stem().string();
  return file.extension() == kEntrySuffix && stem.find_first_not_of("0123456789") == stem.npos;
}

std::uint64_t NumberOf(const fs::path& file) {
  return std::strtoull(file.stem().c_str(), nullptr, 10);
}

std::string ReadText(const fs::path& file) {
  std::ifstream text(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(text), {}};
}

}  // namespace

SpoolFile::~SpoolFile() {
  if (entry_ == Entry::kNone) disk_.Remove(file_);
}

std::uint64_t SpoolFile::Size() const { return SizeOf(fd_.get()); }

Spool::Spool(Disk& disk, fs::path folder, std::string boot)
    : disk_(disk), folder_(std::move(folder)), aside_(folder_ / "aside"), boot_(std::move(boot)) {
  std::error_code error;
  fs::create_directories(aside_, error);
  Check(error.value(), folder_, "cannot be made");
}

void Spool::Check(int error, const fs::path& file, const char* what) const {
  if (error != 0) throw FsError(error, file.string() + ": " + what);
}

std::vector<fs::path> Spool::Files(const fs::path& folder) const {
  std::vector<fs::path> files;
  for (const auto& item : fs::directory_iterator(folder)) {
    if (item.is_regular_file()) files.push_back(item.path());
  }
  return files;
}

struct Spool::Loaded {
  JournalEntry entry;
  SpoolPtr contents;  // null: the entry is to be left out
};

// Leaves out what a loss of power brought back or left half written, none of which anyone was told
// to be safe, and puts aside what was safe and is not readable.
Spool::Loaded Spool::Load(const fs::path& file) {
  const fs::path contents = ContentsOf(file);
  const EntryText text = ParseEntry(ReadText(file));
  if (text.state == EntryText::State::kDamaged) {
    PutAside(file);
    return {};
  }
  // A spare's older text names another file.
  const bool own =
      text.state == EntryText::State::kGood && text.entry.file == contents.filename().string() &&
      fs::is_regular_file(contents) && (text.entry.boot.empty() || text.entry.boot == boot_);
  if (!own) {
    Check(disk_.Remove(file), file, "cannot be removed");
    return {};
  }
  if (fs::file_size(contents) != text.entry.size) {
    PutAside(file);
    return {};
  }
  auto opened = std::make_shared<SpoolFile>(disk_, contents, disk_.Open(contents, O_RDWR));
  opened->entry_ =
      text.entry.boot.empty() ? SpoolFile::Entry::kSecured : SpoolFile::Entry::kWritten;
  return {text.entry, std::move(opened)};
}

void Spool::PutAside(const fs::path& entry) {
  for (const fs::path& file : {ContentsOf(entry), entry}) {
    const int error = disk_.Rename(file, aside_ / file.filename());
    if (error != ENOENT) Check(error, file, "cannot be put aside");
  }
  Notice(entry.string() + ": damaged; it and its contents are kept in " + aside_.string());
}

// In the order in which they were entered.
std::vector<Spool::Loaded> Spool::LoadAll() {
  std::vector<Loaded> all;
  std::uint64_t last = 0;
  for (const fs::path& folder : {folder_, aside_}) {
    for (const fs::path& file : Files(folder)) last = std::max(last, NumberOf(file));
  }
  for (const fs::path& file : Files(folder_)) {
    if (!IsEntry(file)) continue;
    Loaded one = Load(file);
    if (!one.contents) continue;
    last = std::max(last, one.entry.order);
    all.push_back(std::move(one));
  }
  std::ranges::sort(all, {}, [](const Loaded& one) { return one.entry.order; });
  Lock lock(mutex_);
  next_ = last + 1;
  return all;
}

Spool::Found Spool::Recover() {
  Found found;
  for (Loaded& one : LoadAll()) {
    const Destination& destination = one.entry.destination;
    // Before an earlier one of the same name goes.
    if (one.contents->entry_ != SpoolFile::Entry::kSecured) Secure(*one.contents, destination);
    const auto earlier = std::ranges::find(
        found.unsent, destination.path,
        [](const Unsent& unsent) -> const std::string& { return unsent.destination.path; });
    if (earlier != found.unsent.end()) {
      Strike(*earlier->contents);
      found.unsent.erase(earlier);
    }
    found.unsent.push_back({destination, std::move(one.contents)});
  }
  RemoveUnnamed();
  for (const fs::path& file : Files(aside_)) {
    if (file.extension() != kEntrySuffix) {
      found.damaged.push_back(file.string() + ": damaged, will not be sent");
    }
  }
  return found;
}

void Spool::RemoveUnnamed() {
  for (const fs::path& file : Files(folder_)) {
    if (file.extension() == kEntrySuffix || fs::exists(EntryOf(file))) continue;
    Check(disk_.Remove(file), file, "cannot be removed");
  }
  Lock lock(mutex_);
  spares_.clear();
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
  WriteEntry(contents, destination, contents.entry_ == SpoolFile::Entry::kSecured);
}

void Spool::Secure(SpoolFile& contents, const Destination& destination) {
  Check(disk_.Sync(contents.fd()), contents.file(), "not synced");
  WriteEntry(contents, destination, true);
}

// Written into a spare, which may hold an older text, and in place at once, so that an entry is
// never read half.
void Spool::WriteEntry(SpoolFile& contents, const Destination& destination, bool secured) {
  const fs::path spare = TakeSpare();
  const fs::path file = EntryOf(contents.file());
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
  if (contents.entry_ == SpoolFile::Entry::kNone) contents.entry_ = SpoolFile::Entry::kWritten;
  if (!secured) return;
  Check(disk_.SyncFolder(folder_), folder_, "not synced");
  contents.entry_ = SpoolFile::Entry::kSecured;
}

void Spool::Strike(SpoolFile& contents) {
  if (contents.entry_ == SpoolFile::Entry::kNone) return;
  const bool secured = contents.entry_ == SpoolFile::Entry::kSecured;
  // Not the contents' own name: they may be entered and struck again before the spare is used.
  const fs::path spare = NewName(kSpareSuffix);
  const int kept = disk_.Rename(EntryOf(contents.file()), spare);
  if (kept != 0 && kept != ENOENT) {  // a full disk, or folder
    const int error = disk_.Remove(EntryOf(contents.file()));
    if (error != ENOENT) Check(error, contents.file(), "its journal entry cannot be removed");
  }
  if (secured && disk_.SyncFolder(folder_) != 0) {
    Check(disk_.SyncFolder(folder_), folder_, "not synced");
  }
  contents.entry_ = SpoolFile::Entry::kNone;
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

std::string CurrentBoot() {
  std::string boot = ReadText("/proc/sys/kernel/random/boot_id");
  while (!boot.empty() && boot.back() == '\n') boot.pop_back();
  return boot.empty() ? "unknown" : boot;
}

}  // namespace b2drive::mount
