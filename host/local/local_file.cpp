#include "host/local/local_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <vector>

#include "host/common/errors.h"
#include "host/local/local_io.h"

namespace b2drive {
namespace fs = std::filesystem;
namespace {

// A name beside `target` that no other process and no earlier run uses, short where that is long.
std::string TemporaryName(const fs::path& target) {
  auto now = std::chrono::system_clock::now().time_since_epoch().count();
  return target.parent_path() /
         (".b2drive-" + std::to_string(getpid()) + "-" + std::to_string(now));
}

mode_t ModeOfNewFiles() {
  mode_t mask = umask(077);
  umask(mask);
  return 0666 & ~mask;
}

// What the file in place of `target` is to have. Throws for what cannot be replaced.
mode_t ModeFor(const fs::path& target) {
  struct stat status {};
  if (stat(target.c_str(), &status) == 0) {
    if (S_ISREG(status.st_mode)) return status.st_mode & 0777;
    throw HostError(ExitCode::kWrongKind, target.string(), "exists and is no regular file");
  }
  if (errno != ENOENT) throw LocalFailure(target.string(), errno);
  return ModeOfNewFiles();
}

UniqueFd UnnamedFile() {
  std::string name = (fs::temp_directory_path() / "b2drive-XXXXXX").string();
  UniqueFd file(mkstemp(name.data()));
  if (!file) throw LocalFailure(name, errno);
  unlink(name.c_str());
  return file;
}

}  // namespace

PendingFile::PendingFile(fs::path target) : target_(std::move(target)) {
  mode_ = ModeFor(target_);
  temporary_ = TemporaryName(target_);
  // Before the file is there, so that no moment is left in which it could stay.
  remove_at_exit_ =
      std::make_unique<InterruptCleanup>([name = temporary_] { unlink(name.c_str()); });
  fd_ = UniqueFd(open(temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!fd_) throw LocalFailure(target_.string(), errno);
}

PendingFile::~PendingFile() {
  if (!committed_) unlink(temporary_.c_str());
}

void PendingFile::Commit() {
  // Where modes cannot be set the file keeps what the file system gave it.
  (void)fchmod(fd_.get(), mode_);
  // Here a full disk may show that took the bytes before.
  if (fsync(fd_.get()) != 0) {
    throw LocalFailure("writing " + target_.string(), errno).About(target_.string());
  }
  if (rename(temporary_.c_str(), target_.c_str()) != 0) {
    throw LocalFailure(target_.string(), errno);
  }
  committed_ = true;
}

LocalSource OpenSource(const fs::path& file) {
  // A named pipe without a writer must not block here: it is refused below.
  LocalSource source{UniqueFd(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK))};
  struct stat status {};
  if (!source.fd || fstat(source.fd.get(), &status) != 0) throw LocalFailure(file.string(), errno);
  if (!S_ISREG(status.st_mode)) {
    throw HostError(ExitCode::kWrongKind, file.string(), "not a regular file");
  }
  source.size = static_cast<std::uint64_t>(status.st_size);
  return source;
}

LocalSource SpoolStandardInput() {
  LocalSource source{UnnamedFile()};
  std::vector<char> buffer(256UL * 1024);
  for (;;) {
    ssize_t got = read(STDIN_FILENO, buffer.data(), buffer.size());
    if (got == 0) return source;
    if (got < 0 && errno != EINTR) throw LocalFailure("standard input", errno).About("-");
    if (got < 0) continue;
    const int error = WriteAll(source.fd.get(), {buffer.data(), static_cast<std::size_t>(got)});
    if (error != 0) throw LocalFailure("temporary file", error).About("-");
    source.size += static_cast<std::uint64_t>(got);
  }
}

}  // namespace b2drive
