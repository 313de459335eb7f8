#include "host/mount/journal/spool_log.h"

#include <fcntl.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "host/common/fs_error.h"
#include "host/local/local_io.h"

namespace b2drive::mount {
namespace fs = std::filesystem;
namespace {

constexpr char kName[] = "log";

// Before the entry and the contents; as the machine that wrote it keeps numbers.
struct Header {
  std::uint32_t checksum;  // of all that follows, never 0: what was never written is no record
  std::uint32_t entry_size;
  std::uint64_t contents_size;
};

std::uint32_t ChecksumOf(const char* data, std::size_t count) {
  const uLong sum = crc32_z(0, reinterpret_cast<const Bytef*>(data), count);
  return std::max<std::uint32_t>(static_cast<std::uint32_t>(sum), 1);
}

std::string TextOf(const SpoolLog::Record& record) {
  Header header{0, static_cast<std::uint32_t>(record.entry.size()), record.contents.size()};
  std::string text(sizeof header, '\0');
  text.reserve(sizeof header + record.entry.size() + record.contents.size());
  std::memcpy(text.data(), &header, sizeof header);
  text += record.entry;
  text += record.contents;
  constexpr std::size_t kSummed = sizeof header.checksum;
  header.checksum = ChecksumOf(text.data() + kSummed, text.size() - kSummed);
  std::memcpy(text.data(), &header.checksum, kSummed);
  return text;
}

// None where there is no file; one that cannot be read must not be taken for that.
std::string BytesOf(Disk& disk, const fs::path& file) {
  if (!fs::exists(file)) return "";
  const UniqueFd fd = disk.Open(file, O_RDONLY);
  std::string bytes(SizeOf(fd.get()), '\0');
  bytes.resize(ReadAt(fd.get(), bytes.data(), bytes.size(), 0));
  return bytes;
}

void Check(int error, const fs::path& file) {
  if (error != 0) throw FsError(error, file.string() + ": cannot be written");
}

}  // namespace

SpoolLog::SpoolLog(Disk& disk, const fs::path& spool, std::uint64_t size)
    : disk_(disk), spool_(spool), size_(size) {}

bool SpoolLog::HasRoomFor(const Record& record, std::uint64_t rest) const {
  const bool unclear = is_there_ && !fd_;
  const std::uint64_t size = sizeof(Header) + record.entry.size() + record.contents.size();
  return !unclear && end_ + size + rest <= size_;
}

void SpoolLog::Add(const Record& record) {
  if (!fd_) Make();
  const std::string text = TextOf(record);
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

std::vector<SpoolLog::Record> SpoolLog::Read(Disk& disk, const fs::path& spool) {
  const std::string text = BytesOf(disk, spool / kName);
  std::vector<Record> records;
  Header header{};
  for (std::size_t at = 0; text.size() - at >= sizeof header;) {
    std::memcpy(&header, text.data() + at, sizeof header);
    const std::size_t left = text.size() - at - sizeof header;
    if (header.entry_size > left || header.contents_size > left - header.entry_size) break;
    const std::size_t size = sizeof header + header.entry_size + header.contents_size;
    constexpr std::size_t kSummed = sizeof header.checksum;
    if (ChecksumOf(text.data() + at + kSummed, size - kSummed) != header.checksum) break;
    const std::size_t entry = at + sizeof header;
    records.push_back({text.substr(entry, header.entry_size),
                       text.substr(entry + header.entry_size, header.contents_size)});
    at += size;
  }
  return records;
}

}  // namespace b2drive::mount
