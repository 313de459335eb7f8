#include "host/mount/journal/spool_replay.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <map>

#include "host/common/fs_error.h"
#include "host/local/local_io.h"
#include "host/mount/journal/journal_scan.h"
#include "host/mount/journal/spool_log.h"

namespace b2drive::mount {
namespace fs = std::filesystem;
namespace {

struct Told {
  JournalEntry entry;
  std::string contents;
};

void Check(int error, const fs::path& file) {
  if (error != 0) throw FsError(error, file.string() + ": cannot be made again");
}

// `modified`: when its text was changed, as programs see it; none: now.
void WriteWhole(Disk& disk, const fs::path& file, const std::string& text,
                const timespec* modified = nullptr) {
  const UniqueFd fd = disk.Open(file, O_WRONLY | O_CREAT);
  Check(disk.Write(fd.get(), text.data(), text.size(), 0), file);
  Check(disk.Resize(fd.get(), text.size()), file);
  if (modified != nullptr) {
    const std::array times = {timespec{0, UTIME_OMIT}, *modified};
    (void)futimens(fd.get(), times.data());
  }
  Check(disk.Sync(fd.get()), file);
}

// Whether files say something that is as new, and survive. The names of the entry and the contents
// may have reached the disk one without the other.
bool IsKnown(const fs::path& contents, const JournalEntry& entry) {
  const EntryText there = ReadEntry(EntryFileOf(contents));
  return there.state == EntryText::State::kGood && there.entry.file == entry.file &&
         there.entry.boot.empty() && there.entry.order >= entry.order &&
         fs::is_regular_file(contents) && fs::file_size(contents) == there.entry.size;
}

// What was secured in files since needs nothing of it.
void BringAgain(Disk& disk, const fs::path& contents, const EntryText& there, const Told& told) {
  if (there.entry.boot.empty() || told.entry.destination.path.empty()) return;
  struct stat status {};
  const bool exists = stat(contents.c_str(), &status) == 0;
  WriteWhole(disk, contents, told.contents, exists ? &status.st_mtim : &told.entry.modified);
}

void Replay(Disk& disk, const fs::path& spool, const std::string& boot, Told& told) {
  const fs::path contents = spool / told.entry.file;
  const fs::path file = EntryFileOf(contents);
  if (told.entry.boot == boot) {
    if (!fs::exists(file)) return;
    const EntryText there = ReadEntry(file);
    if (there.state == EntryText::State::kGood) return BringAgain(disk, contents, there, told);
  } else if (IsKnown(contents, told.entry)) {
    return;
  }
  if (told.entry.destination.path.empty()) {
    const int error = disk.Remove(file);
    if (error != ENOENT) Check(error, file);
    return;
  }
  WriteWhole(disk, contents, told.contents, &told.entry.modified);
  told.entry.boot.clear();
  const fs::path spare = spool / "replay.spare";
  WriteWhole(disk, spare, EntryTextOf(told.entry));
  Check(disk.Rename(spare, file), file);
}

}  // namespace

bool ReplaySpoolLog(Disk& disk, const fs::path& spool, const std::string& boot) {
  SpoolLog::Found found = SpoolLog::Read(disk, spool);
  std::map<std::string, Told> last;  // by the spool file's name
  bool earlier_boot = false;
  for (SpoolLog::Record& record : found.records) {
    EntryText text = ParseEntry(record.entry);
    if (text.state != EntryText::State::kGood) continue;
    earlier_boot = earlier_boot || text.entry.boot != boot;
    std::string name = text.entry.file;
    last.insert_or_assign(std::move(name), Told{std::move(text.entry), std::move(record.contents)});
  }
  for (auto& [name, told] : last) Replay(disk, spool, boot, told);
  if (!last.empty()) Check(disk.SyncFolder(spool), spool);
  return !found.damaged || !(earlier_boot || last.empty());
}

}  // namespace b2drive::mount
