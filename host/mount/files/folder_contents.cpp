#include "host/mount/files/folder_contents.h"

#include <cerrno>
#include <set>

#include "host/common/fs_error.h"
#include "host/common/path.h"

namespace b2drive::mount {

FolderContents ReadFolderContents(DirectoryCache& directory, OpenFiles& files,
                                  const std::string& folder, std::size_t most) {
  constexpr std::size_t kLongestPath = 2048;  // a service that shows folders without end has longer
  std::set<std::string> names;
  for (const SharedFilePtr& file : files.All()) {
    const std::string path = file->path();
    if (!file->IsAbandoned() && path != folder && IsAtOrBelow(path, folder)) {
      names.insert(path.substr(folder.size()));
    }
  }
  FolderContents contents{{""}, {}};
  for (std::size_t at = 0; at < contents.folders.size(); ++at) {
    const std::string inner = contents.folders[at];
    if (inner.size() > kLongestPath) throw FsError(EIO, folder + ": folders without end");
    directory.Forget(folder + inner);
    for (const Entry& entry : directory.List(folder + inner)) {
      std::string path = inner + "/" + entry.name;
      if (entry.folder) {
        contents.folders.push_back(std::move(path));
      } else {
        names.insert(std::move(path));
      }
    }
    if (names.size() + contents.folders.size() > most) {
      throw FsError(EXDEV, folder + ": holds more than " + std::to_string(most) + " items");
    }
  }
  contents.files.assign(names.begin(), names.end());
  return contents;
}

}  // namespace b2drive::mount
