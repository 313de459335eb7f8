#include "host/local/private_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>

#include "host/common/errors.h"
#include "host/common/unique_fd.h"
#include "host/local/local_io.h"
#include "host/terminal/interrupt.h"

namespace b2drive {
namespace fs = std::filesystem;
namespace {

// Removes what still stands at its path when it goes, or the program does.
class Temporary {
 public:
  explicit Temporary(std::string path)
      : path_(std::move(path)), remove_at_exit_([name = path_] { unlink(name.c_str()); }) {}
  ~Temporary() { unlink(path_.c_str()); }
  Temporary(const Temporary&) = delete;
  Temporary& operator=(const Temporary&) = delete;

  const char* path() const { return path_.c_str(); }

 private:
  const std::string path_;
  const InterruptCleanup remove_at_exit_;
};

}  // namespace

void MakePrivateFolders(const fs::path& folder) {
  if (mkdir(folder.c_str(), 0700) == 0 || errno == EEXIST) return;
  if (errno != ENOENT || folder.empty()) throw LocalFailure(folder.string(), errno);
  MakePrivateFolders(folder.parent_path());
  if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
    throw LocalFailure(folder.string(), errno);
  }
}

void ReplacePrivateFile(const fs::path& file, const std::string& text) {
  const auto now = std::chrono::system_clock::now().time_since_epoch().count();
  const Temporary temporary(file.parent_path() /
                            (".b2drive-" + std::to_string(getpid()) + "-" + std::to_string(now)));
  const UniqueFd fd(open(temporary.path(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!fd) throw LocalFailure(file.string(), errno);
  if (const int error = WriteAll(fd.get(), text)) throw LocalFailure(file.string(), error);
  if (fsync(fd.get()) != 0 || rename(temporary.path(), file.c_str()) != 0) {
    throw LocalFailure(file.string(), errno);
  }
  // Where a folder cannot be synced its entries are safe without it.
  const UniqueFd folder(open(file.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder) fsync(folder.get());
}

}  // namespace b2drive
