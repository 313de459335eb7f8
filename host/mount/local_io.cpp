#include "host/mount/local_io.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "host/mount/fs_error.h"

namespace b2drive::mount {

std::size_t ReadAt(int fd, char* data, std::size_t count, std::uint64_t offset) {
  std::size_t done = 0;
  while (done < count) {
    ssize_t got = pread(fd, data + done, count - done, static_cast<off_t>(offset + done));
    if (got == 0) break;
    if (got < 0 && errno != EINTR) throw FsError(errno, "reading in the cache folder");
    if (got > 0) done += static_cast<std::size_t>(got);
  }
  return done;
}

int WriteAt(int fd, const char* data, std::size_t count, std::uint64_t offset) {
  for (std::size_t done = 0; done < count;) {
    ssize_t put = pwrite(fd, data + done, count - done, static_cast<off_t>(offset + done));
    if (put < 0 && errno != EINTR) return errno;
    if (put > 0) done += static_cast<std::size_t>(put);
  }
  return 0;
}

void CopyBytes(int from, int to, std::uint64_t count) {
  constexpr std::uint64_t kPiece = 1024UL * 1024;
  std::vector<char> buffer(std::min(count, kPiece));
  for (std::uint64_t done = 0; done < count;) {
    std::size_t got = ReadAt(from, buffer.data(), std::min(count - done, kPiece), done);
    if (got == 0) throw FsError(EIO, "a file in the cache folder is too short");
    int error = WriteAt(to, buffer.data(), got, done);
    if (error != 0) throw FsError(error, "writing in the cache folder");
    done += got;
  }
}

std::uint64_t SizeOf(int fd) {
  struct stat status {};
  if (fstat(fd, &status) != 0) throw FsError(errno, "looking in the cache folder");
  return static_cast<std::uint64_t>(status.st_size);
}

}  // namespace b2drive::mount
