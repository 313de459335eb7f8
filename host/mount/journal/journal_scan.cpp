#include "host/mount/journal/journal_scan.h"

#include <algorithm>
#include <cerrno>
#include <optional>

#include "base/numbers.h"
#include "host/common/fs_error.h"
#include "host/local/local_io.h"
#include "host/terminal/notices.h"

namespace b2drive::mount {
namespace fs = std::filesystem;
namespace {

constexpr char kEntrySuffix[] = ".json";
constexpr char kLogSuffix[] = ".log";

fs::path ContentsOf(fs::path entry) { return entry.replace_extension(); }

// Whatever else lies in the folder is not the spool's.
bool IsEntry(const fs::path& file) {
  const std::string stem = file.stem().string();
  return file.extension() == kEntrySuffix && stem.find_first_not_of("0123456789") == stem.npos;
}

// 0 where the name is not the spool's.
std::uint64_t NumberOf(const fs::path& file) {
  const auto number = base::ParseNumber<std::uint64_t>(file.stem().string());
  return number && *number < kNoNumber ? *number : 0;
}

void Check(int error, const fs::path& file, const char* what) {
  if (error != 0) throw FsError(error, file.string() + ": " + what);
}

std::vector<fs::path> Files(const fs::path& folder) {
  std::vector<fs::path> files;
  for (const auto& item : fs::directory_iterator(folder)) {
    if (item.is_regular_file()) files.push_back(item.path());
  }
  return files;
}

void PutAside(Disk& disk, const fs::path& entry, const fs::path& aside) {
  for (const fs::path& file : {ContentsOf(entry), entry}) {
    const int error = disk.Rename(file, aside / file.filename());
    if (error != ENOENT) Check(error, file, "cannot be put aside");
  }
  Notice(entry.string() + ": damaged; it and its contents are kept in " + aside.string());
}

// Nothing for an entry that is to be left out.
std::optional<ScannedEntry> Load(Disk& disk, const fs::path& file, const std::string& boot) {
  const fs::path contents = ContentsOf(file);
  const fs::path aside = AsideOf(file.parent_path());
  const EntryText text = ReadEntry(file);
  if (text.state == EntryText::State::kDamaged) {
    PutAside(disk, file, aside);
    return {};
  }
  // A spare's older text names another file.
  const bool own =
      text.state == EntryText::State::kGood && text.entry.file == contents.filename().string() &&
      fs::is_regular_file(contents) && (text.entry.boot.empty() || text.entry.boot == boot);
  if (!own) {
    Check(disk.Remove(file), file, "cannot be removed");
    return {};
  }
  if (fs::file_size(contents) != text.entry.size) {
    PutAside(disk, file, aside);
    return {};
  }
  return ScannedEntry{text.entry, contents};
}

}  // namespace

fs::path EntryFileOf(const fs::path& contents) { return contents.string() + kEntrySuffix; }

fs::path AsideOf(const fs::path& spool) { return spool / "aside"; }

fs::path LogAsideOf(const fs::path& spool, std::uint64_t number) {
  return AsideOf(spool) / (std::to_string(number) + kLogSuffix);
}

EntryText ReadEntry(const fs::path& file) try {
  return ParseEntry(ReadWhole(file));
} catch (const FsError& error) {
  if (error.number() == ENOENT) return {EntryText::State::kUnfinished, {}};
  if (error.number() == EIO) return {};
  throw;
}

JournalScan ScanJournal(Disk& disk, const fs::path& spool, const std::string& boot) {
  JournalScan scan;
  for (const fs::path& folder : {spool, AsideOf(spool)}) {
    for (const fs::path& file : Files(folder)) {
      scan.last_number = std::max(scan.last_number, NumberOf(file));
    }
  }
  for (const fs::path& file : Files(spool)) {
    if (!IsEntry(file)) continue;
    auto one = Load(disk, file, boot);
    if (!one) continue;
    scan.last_number = std::max(scan.last_number, one->entry.order);
    scan.entries.push_back(std::move(*one));
  }
  std::ranges::sort(scan.entries, {}, [](const ScannedEntry& one) { return one.entry.order; });
  return scan;
}

std::vector<std::string> RemoveUnnamed(Disk& disk, const fs::path& spool) {
  for (const fs::path& file : Files(spool)) {
    if (file.extension() == kEntrySuffix || fs::exists(EntryFileOf(file))) continue;
    Check(disk.Remove(file), file, "cannot be removed");
  }
  std::vector<std::string> damaged;
  for (const fs::path& file : Files(AsideOf(spool))) {
    if (file.extension() != kEntrySuffix) {
      const bool is_log = file.extension() == kLogSuffix;
      damaged.push_back(file.string() + (is_log ? ": damaged, small files saved shortly before the "
                                                  "machine stopped may be missing, or back"
                                                : ": damaged, will not be sent"));
    }
  }
  return damaged;
}

}  // namespace b2drive::mount
