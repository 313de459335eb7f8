#include "host/mount/journal/disk.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <vector>

#include "host/common/fs_error.h"
#include "host/local/local_io.h"

namespace b2drive::mount {
namespace fs = std::filesystem;
namespace {

int ErrnoOf(int result) { return result == 0 ? 0 : errno; }

// What copy_file_range cannot do between two file systems, or on an old kernel.
int CopyByHand(Disk& disk, int from, int to, std::uint64_t done, std::uint64_t count) {
  constexpr std::uint64_t kPiece = 1024UL * 1024;
  std::vector<char> buffer(std::min(count - done, kPiece));
  while (done < count) {
    std::size_t got = ReadAt(from, buffer.data(), std::min(count - done, kPiece), done);
    if (got == 0) return ENODATA;
    int error = disk.Write(to, buffer.data(), got, done);
    if (error != 0) return error;
    done += got;
  }
  return 0;
}

}  // namespace

UniqueFd Disk::Open(const fs::path& file, int flags) {
  UniqueFd fd(open(file.c_str(), flags | O_CLOEXEC, 0600));
  if (!fd) throw FsError(errno, file.string() + ": cannot be opened");
  return fd;
}

int Disk::Write(int fd, const char* data, std::size_t count, std::uint64_t offset) {
  return WriteAllAt(fd, {data, count}, offset);
}

std::size_t Disk::Read(int fd, char* data, std::size_t count, std::uint64_t offset) {
  return ReadAt(fd, data, count, offset);
}

int Disk::Resize(int fd, std::uint64_t size) {
  return ErrnoOf(ftruncate(fd, static_cast<off_t>(size)));
}

int Disk::Free(int fd, std::uint64_t offset, std::uint64_t count) {
  return ErrnoOf(fallocate(fd, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE,
                           static_cast<off_t>(offset), static_cast<off_t>(count)));
}

int Disk::Copy(int from, int to, std::uint64_t count) {
  std::uint64_t done = 0;
  while (done < count) {
    auto in = static_cast<off_t>(done);
    off_t out = in;
    ssize_t got = copy_file_range(from, &in, to, &out, count - done, 0);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0 && (errno == ENOSPC || errno == EDQUOT || errno == EIO)) return errno;
    if (got <= 0) return CopyByHand(*this, from, to, done, count);
    done += static_cast<std::uint64_t>(got);
  }
  return 0;
}

int Disk::Sync(int fd) { return ErrnoOf(fsync(fd)); }

int Disk::SyncFolder(const fs::path& folder) {
  try {
    return Sync(Open(folder, O_RDONLY | O_DIRECTORY).get());
  } catch (const FsError& error) {
    return error.number();
  }
}

int Disk::Rename(const fs::path& from, const fs::path& to) {
  return ErrnoOf(rename(from.c_str(), to.c_str()));
}

int Disk::Remove(const fs::path& file) { return ErrnoOf(unlink(file.c_str())); }

Disk& SystemDisk() {
  static Disk disk;
  return disk;
}

}  // namespace b2drive::mount
