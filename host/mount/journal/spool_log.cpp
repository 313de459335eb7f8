#include "host/mount/journal/spool_log.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

#include "host/common/fs_error.h"
#include "host/local/local_io.h"
#include "host/mount/journal/log_frames.h"

namespace b2drive::mount {
namespace fs = std::filesystem;
namespace {

constexpr char kName[] = "log";

using EntrySize = std::uint32_t;  // bytes; before the entry, as the machine keeps numbers

// With the contents behind the entry.
std::string TextOf(const SpoolLog::Record& record) {
  const auto size = static_cast<EntrySize>(record.entry.size());
  std::string text(sizeof size, '\0');
  text.reserve(sizeof size + record.entry.size() + record.contents.size());
  std::memcpy(text.data(), &size, sizeof size);
  text += record.entry;
  text += record.contents;
  return text;
}

std::optional<SpoolLog::Record> ParseRecord(const std::string& text) {
  EntrySize size = 0;
  if (text.size() < sizeof size) return {};
  std::memcpy(&size, text.data(), sizeof size);
  if (text.size() - sizeof size < size) return {};
  return SpoolLog::Record{text.substr(sizeof size, size), text.substr(sizeof size + size)};
}

struct Bytes {
  std::string bytes;     // zeros for what the disk cannot read any more
  bool damaged = false;  // there is such
};

// None where there is no file; one that cannot be opened must not be taken for that.
Bytes BytesOf(Disk& disk, const fs::path& file) {
  constexpr std::size_t kSector = 4096;
  if (!fs::exists(file)) return {};
  const UniqueFd fd = disk.Open(file, O_RDONLY);
  Bytes found{std::string(SizeOf(fd.get()), '\0')};
  for (std::size_t at = 0; at < found.bytes.size(); at += kSector) {
    try {
      disk.Read(fd.get(), found.bytes.data() + at, std::min(kSector, found.bytes.size() - at), at);
    } catch (const FsError& error) {
      if (error.number() != EIO) throw;
      found.damaged = true;
    }
  }
  return found;
}

void Check(int error, const fs::path& file) {
  if (error != 0) throw FsError(error, file.string() + ": cannot be written");
}

}  // namespace

SpoolLog::SpoolLog(Disk& disk, const fs::path& spool, std::uint64_t size)
    : disk_(disk), spool_(spool), size_(size) {}

bool SpoolLog::HasRoomFor(const Record& record, std::uint64_t rest) const {
  const bool unclear = is_there_ && !fd_;
  const std::uint64_t size = sizeof(EntrySize) + record.entry.size() + record.contents.size();
  return !unclear && end_ + MostFramed(size) + rest <= size_;
}

void SpoolLog::Add(const Record& record) {
  if (!fd_) Make();
  const std::string text = FrameText(TextOf(record), end_);
  Check(disk_.Write(fd_.get(), text.data(), text.size(), end_), spool_ / kName);
  Check(disk_.Sync(fd_.get()), spool_ / kName);
  end_ += text.size();
}

// Zeros are written, not left out: the file system would otherwise note at each record which parts
// of the file are in use now.
void SpoolLog::Make() {
  constexpr std::uint64_t kPiece = 1UL << 20;
  const fs::path file = spool_ / kName;
  is_there_ = true;
  fd_ = disk_.Open(file, O_WRONLY | O_CREAT | O_TRUNC);
  end_ = 0;
  const std::string zeros(std::min(size_, kPiece), '\0');
  for (std::uint64_t at = 0; at < size_; at += zeros.size()) {
    const std::uint64_t count = std::min<std::uint64_t>(zeros.size(), size_ - at);
    Check(disk_.Write(fd_.get(), zeros.data(), count, at), file);
  }
  Check(disk_.Sync(fd_.get()), file);
  Check(disk_.SyncFolder(spool_), spool_);
}

void SpoolLog::Clear() {
  const fs::path file = spool_ / kName;
  fd_ = UniqueFd();
  end_ = 0;
  const int error = disk_.Remove(file);
  if (error != ENOENT) Check(error, file);
  Check(disk_.SyncFolder(spool_), spool_);
  is_there_ = false;
}

bool SpoolLog::IsIn(const fs::path& spool) { return fs::exists(spool / kName); }

SpoolLog::Found SpoolLog::Read(Disk& disk, const fs::path& spool) {
  const Bytes file = BytesOf(disk, spool / kName);
  const Unframed unframed = UnframeTexts(file.bytes);
  Found found{{}, file.damaged || unframed.damaged};
  for (const std::string& text : unframed.texts) {
    if (auto record = ParseRecord(text)) found.records.push_back(std::move(*record));
  }
  return found;
}

void SpoolLog::PutAside(Disk& disk, const fs::path& spool, const fs::path& place) {
  Check(disk.Rename(spool / kName, place), place);
  Check(disk.SyncFolder(place.parent_path()), place);
  Check(disk.SyncFolder(spool), spool);
}

}  // namespace b2drive::mount
