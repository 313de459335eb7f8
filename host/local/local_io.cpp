#include "host/local/local_io.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <iterator>
#include <vector>

#include "host/common/fs_error.h"
#include "host/common/unique_fd.h"

namespace b2drive {
namespace {

constexpr std::size_t kPiece = 256UL * 1024;

// `write_some` is given what is left, and how much was written before it.
template <typename WriteSome>
int Repeat(std::string_view left, WriteSome write_some) {
  for (std::size_t done = 0; !left.empty();) {
    const ssize_t written = write_some(left, done);
    if (written < 0 && errno != EINTR) return errno;
    if (written <= 0) continue;
    left.remove_prefix(static_cast<std::size_t>(written));
    done += static_cast<std::size_t>(written);
  }
  return 0;
}

}  // namespace

int WriteAll(int fd, std::string_view bytes) {
  return Repeat(bytes, [&](std::string_view left, std::size_t) {
    return write(fd, left.data(), left.size());
  });
}

int WriteAllAt(int fd, std::string_view bytes, std::uint64_t offset) {
  return Repeat(bytes, [&](std::string_view left, std::size_t done) {
    return pwrite(fd, left.data(), left.size(), static_cast<off_t>(offset + done));
  });
}

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

std::uint64_t SizeOf(int fd) {
  struct stat status {};
  if (fstat(fd, &status) != 0) throw FsError(errno, "looking in the cache folder");
  return static_cast<std::uint64_t>(status.st_size);
}

std::uint32_t ChecksumOf(int fd) {
  std::vector<char> buffer(kPiece);
  uLong sum = crc32(0, nullptr, 0);
  for (std::uint64_t at = 0;;) {
    const std::size_t got = ReadAt(fd, buffer.data(), buffer.size(), at);
    if (got == 0) return static_cast<std::uint32_t>(sum);
    sum = crc32(sum, reinterpret_cast<const Bytef*>(buffer.data()), static_cast<uInt>(got));
    at += got;
  }
}

bool SameBytes(int one, int other) {
  if (SizeOf(one) != SizeOf(other)) return false;
  std::vector<char> left(kPiece);
  std::vector<char> right(kPiece);
  for (std::uint64_t at = 0;;) {
    const std::size_t got = ReadAt(one, left.data(), kPiece, at);
    if (ReadAt(other, right.data(), kPiece, at) != got) return false;
    if (!std::equal(left.begin(), left.begin() + static_cast<std::ptrdiff_t>(got), right.begin())) {
      return false;
    }
    if (got == 0) return true;
    at += got;
  }
}

std::string ReadSmallFile(const std::filesystem::path& file) {
  std::ifstream text(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(text), {}};
}

std::string ReadWhole(const std::filesystem::path& file) {
  const UniqueFd fd(open(file.c_str(), O_RDONLY | O_CLOEXEC));
  if (!fd) throw FsError(errno, file.string() + ": cannot be opened");
  std::string bytes(SizeOf(fd.get()), '\0');
  bytes.resize(ReadAt(fd.get(), bytes.data(), bytes.size(), 0));
  return bytes;
}

std::string CurrentBoot() {
  std::string boot = ReadSmallFile("/proc/sys/kernel/random/boot_id");
  while (!boot.empty() && boot.back() == '\n') boot.pop_back();
  return boot.empty() ? kUnknownBoot : boot;
}

}  // namespace b2drive
