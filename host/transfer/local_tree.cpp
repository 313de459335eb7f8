#include "host/transfer/local_tree.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "host/common/unique_fd.h"
#include "host/local/local_folders.h"

namespace b2drive {
namespace {

// Each level has an open descriptor. No name of the service can be longer, in bytes.
constexpr std::size_t kLongestPath = 1024;

LocalItem::Kind KindOf(mode_t mode) {
  if (S_ISDIR(mode)) return LocalItem::Kind::kFolder;
  return S_ISREG(mode) ? LocalItem::Kind::kFile : LocalItem::Kind::kOther;
}

class Walk {
 public:
  Walk(const std::filesystem::path& root, const Filter& filter) : root_(root), filter_(filter) {}

  void Read(int folder, const std::string& path) {
    std::vector<std::string> names;
    if (const int error = ReadNames(folder, names); error != 0) Fail(path, error);
    std::string inner = path.empty() ? "" : path + "/";
    const std::size_t start = inner.size();
    for (const std::string& name : names) {
      if (!IsPartName(name)) ReadItem(folder, name, inner.replace(start, std::string::npos, name));
    }
  }

  LocalTree Take() {
    std::ranges::sort(tree_.items, {}, &LocalItem::path);
    return std::move(tree_);
  }

 private:
  void ReadItem(int folder, const std::string& name, const std::string& path) {
    struct stat status {};
    if (fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
      if (errno != ENOENT) Fail(path, errno);
      return;
    }
    const LocalItem::Kind kind = KindOf(status.st_mode);
    if (!filter_.Takes(path, kind == LocalItem::Kind::kFolder)) return;
    const bool is_file = kind == LocalItem::Kind::kFile;
    tree_.items.push_back(
        {path, kind, is_file ? static_cast<std::uint64_t>(status.st_size) : 0, status.st_mtim});
    if (kind == LocalItem::Kind::kFolder) ReadFolder(folder, name, path);
  }

  void ReadFolder(int parent, const std::string& name, const std::string& path) {
    if (path.size() > kLongestPath) return Fail(path, ENAMETOOLONG);
    const UniqueFd folder(
        openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!folder) return Fail(path, errno);
    Read(folder.get(), path);
  }

  void Fail(const std::string& path, int error) {
    tree_.failures.push_back(LocalFailure((path.empty() ? root_ : root_ / path).string(), error));
  }

  const std::filesystem::path& root_;
  const Filter& filter_;
  LocalTree tree_;
};

}  // namespace

LocalTree ReadLocalTree(const std::filesystem::path& root, const Filter& filter) {
  const UniqueFd folder(open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder && errno == ENOTDIR) {
    throw HostError(ExitCode::kWrongKind, root.string(), "is a file, not a folder");
  }
  if (!folder) throw LocalFailure(root.string(), errno);
  Walk walk(root, filter);
  walk.Read(folder.get(), "");
  return walk.Take();
}

}  // namespace b2drive
