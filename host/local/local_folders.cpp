#include "host/local/local_folders.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <memory>

#include "host/common/errors.h"
#include "host/local/local_target.h"

namespace b2drive {
namespace fs = std::filesystem;
namespace {

constexpr int kFolder = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
constexpr mode_t kMode = 0777;

struct Closer {
  void operator()(DIR* stream) const { closedir(stream); }
};

}  // namespace

bool IsPartName(std::string_view name) {
  return name.starts_with(".b2drive-") && (name.ends_with(".part") || name.ends_with(".whole"));
}

int ReadNames(int folder, std::vector<std::string>& names) {
  // A description of its own, since the stream takes it over.
  UniqueFd own(openat(folder, ".", kFolder));
  const std::unique_ptr<DIR, Closer> stream(own ? fdopendir(own.get()) : nullptr);
  if (!stream) return errno;
  own.release();
  for (;;) {
    errno = 0;
    const dirent* const entry = readdir(stream.get());
    if (entry == nullptr) return errno;
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
  }
}

const char* WhyNoName(std::string_view name) {
  if (name.empty()) return "an empty name";
  if (name == "." || name == "..") return "would lead elsewhere";
  if (name.find('/') != name.npos) return "has a slash";
  if (name.find('\0') != name.npos) return "has a zero byte";
  if (IsPartName(name)) return "is a name that b2drive's own part files have";
  if (name.size() > NAME_MAX) return "is too long for a name";
  return nullptr;
}

LocalFolders::LocalFolders(const fs::path& root) : root_(root) {
  ModeOfNewFiles();
  if (mkdir(root.c_str(), kMode) != 0 && errno != EEXIST) throw LocalFailure(root.string(), errno);
  fd_ = UniqueFd(open(root.c_str(), kFolder));
  if (!fd_) throw LocalFailure(root.string(), errno);
}

UniqueFd LocalFolders::Open(std::string_view path, Missing missing) const {
  UniqueFd folder(openat(fd_.get(), ".", kFolder));
  if (!folder) throw LocalFailure(root_.string(), errno);
  for (std::size_t at = 0; at < path.size();) {
    const std::size_t end = std::min(path.find('/', at), path.size());
    folder =
        Enter(folder.get(), std::string(path.substr(at, end - at)), path.substr(0, end), missing);
    at = end + 1;
  }
  return folder;
}

void LocalFolders::Secure() const {
#ifdef __linux__
  if (syncfs(fd_.get()) != 0 && errno == EIO) throw LocalFailure(root_.string(), errno);
#else
  if (fsync(fd_.get()) != 0 && errno == EIO) throw LocalFailure(root_.string(), errno);
#endif
}

UniqueFd LocalFolders::Enter(int folder, const std::string& name, std::string_view path,
                             Missing missing) const {
  const std::string shown = PathOf(path).string();
  if (const char* const why = WhyNoName(name)) {
    throw HostError(ExitCode::kLocalFile, shown + ": " + why);
  }
  UniqueFd inner(openat(folder, name.c_str(), kFolder | O_NOFOLLOW));
  if (!inner && errno == ENOENT && missing == Missing::kMake) {
    if (mkdirat(folder, name.c_str(), kMode) != 0 && errno != EEXIST) {
      throw LocalFailure(shown, errno);
    }
    inner = UniqueFd(openat(folder, name.c_str(), kFolder | O_NOFOLLOW));
  }
  if (inner) return inner;
  if (errno != ELOOP && errno != ENOTDIR) throw LocalFailure(shown, errno);
  throw HostError(ExitCode::kWrongKind, shown + ": a file or a link stands here, not a folder");
}

}  // namespace b2drive
