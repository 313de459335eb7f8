#include "host/mount/journal/move_journal.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <optional>

#include "base/numbers.h"
#include "host/common/fs_error.h"
#include "host/local/local_io.h"
#include "host/mount/journal/json_path.h"
#include "host/terminal/notices.h"

namespace b2drive::mount {
namespace fs = std::filesystem;
using nlohmann::json;
namespace {

constexpr char kSuffix[] = ".move";
constexpr char kNewSuffix[] = ".new";
constexpr char kUnreadableSuffix[] = ".unreadable";

// None where a loss of power came before the program was told anything. Throws FsError.
std::optional<FolderMove> Read(const fs::path& file) {
  try {
    const json values = json::parse(ReadWhole(file));
    return FolderMove{ToPath(values.at("from")), ToPath(values.at("to"))};
  } catch (const json::exception&) {
    return std::nullopt;
  }
}

}  // namespace

MoveJournal::MoveJournal(Disk& disk, fs::path folder) : disk_(disk), folder_(std::move(folder)) {
  std::error_code error;
  fs::create_directories(folder_, error);
  Check(error.value(), folder_);
}

std::vector<MoveJournal::Noted> MoveJournal::Find() {
  std::vector<Noted> found;
  std::uint64_t last = 0;
  std::vector<fs::path> left;
  for (const auto& item : fs::directory_iterator(folder_)) {
    const fs::path& file = item.path();
    if (file.extension() == kNewSuffix) left.push_back(file);
    if (file.extension() != kSuffix) continue;
    const auto number = base::ParseNumber<std::uint64_t>(file.stem().string()).value_or(0);
    last = std::max(last, number);
    try {
      if (auto move = Read(file)) {
        found.push_back({std::move(*move), file, number});
      } else {
        left.push_back(file);
      }
    } catch (const FsError& error) {
      if (error.number() != EIO) throw;
      // Were it read later it could move what has the names by then.
      Check(disk_.Rename(file, file.string() + kUnreadableSuffix), file);
      Check(disk_.SyncFolder(folder_), folder_);
      Notice(std::string(error.what()) + "; a folder's move may be left half done");
    }
  }
  std::ranges::sort(found, {}, &Noted::number);  // one may have moved what another had moved before
  for (const fs::path& file : left) Check(disk_.Remove(file), file);
  const Lock lock(mutex_);
  next_ = last + 1;
  return found;
}

fs::path MoveJournal::Note(const FolderMove& move) {
  fs::path file;
  {
    const Lock lock(mutex_);
    file = folder_ / (std::to_string(next_++) + kSuffix);
  }
  const fs::path unfinished = file.string() + kNewSuffix;
  const std::string text = json{{"from", FromPath(move.from)}, {"to", FromPath(move.to)}}.dump();
  const UniqueFd fd = disk_.Open(unfinished, O_WRONLY | O_CREAT | O_TRUNC);
  int error = disk_.Write(fd.get(), text.data(), text.size(), 0);
  if (error == 0) error = disk_.Sync(fd.get());
  if (error == 0) error = disk_.Rename(unfinished, file);
  if (error == 0) error = disk_.SyncFolder(folder_);
  if (error != 0) {
    disk_.Remove(unfinished);
    disk_.Remove(file);
    Check(error, file);
  }
  return file;
}

void MoveJournal::Remove(const fs::path& file) {
  Check(disk_.Remove(file), file);
  Check(disk_.SyncFolder(folder_), folder_);
}

void MoveJournal::Check(int error, const fs::path& file) const {
  if (error != 0) throw FsError(error, file.string() + ": cannot be noted in the journal");
}

}  // namespace b2drive::mount
