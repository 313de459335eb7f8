#include "host/mount/journal/spool_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <vector>

#include "host/common/fs_error.h"
#include "host/local/local_io.h"

namespace b2drive::mount {

SpoolFile::~SpoolFile() {
  if (entry_ == EntryState::kNone) disk_.Remove(file_);
}

std::uint64_t SpoolFile::Size() const { return SizeOf(fd_.get()); }

timespec SpoolFile::Modified() const {
  struct stat status {};
  return fstat(fd_.get(), &status) == 0 ? status.st_mtim : timespec{};
}

void SpoolFile::SetModified(const timespec& time) const {
  const std::array times = {timespec{0, UTIME_OMIT}, time};
  (void)futimens(fd_.get(), times.data());
}

void SpoolFile::Sync() {
  const int error = sync_error_ == 0 ? disk_.Sync(fd_.get()) : 0;
  if (error != 0) sync_error_ = error;
  Check(sync_error_);
}

void SpoolFile::WriteAnew(std::string_view contents) {
  const timespec modified = Modified();
  Write(contents, 0);
  SetModified(modified);
  sync_error_ = 0;
}

void SpoolFile::WriteAnew() {
  constexpr std::size_t kPiece = 1UL << 20;
  const timespec modified = Modified();
  std::vector<char> piece(kPiece);
  for (std::uint64_t at = 0;;) {
    const std::size_t got = ReadAt(fd_.get(), piece.data(), kPiece, at);
    if (got == 0) break;
    Write({piece.data(), got}, at);
    at += got;
  }
  SetModified(modified);
  sync_error_ = 0;
}

void SpoolFile::Write(std::string_view bytes, std::uint64_t offset) const {
  Check(disk_.Write(fd_.get(), bytes.data(), bytes.size(), offset));
}

void SpoolFile::Check(int error) const {
  if (error != 0) throw FsError(error, file_.string() + ": not brought to the disk");
}

}  // namespace b2drive::mount
