#pragma once

#include <string>
#include <vector>

#include "host/mount/files/open_files.h"

namespace b2drive::mount {

// What is in a folder and in all folders below it, by paths that begin behind it, each with a
// slash before.
struct FolderContents {
  std::vector<std::string> folders;  // itself too, as ""; each before those in it
  std::vector<std::string> files;    // on the service, open, or waiting to be sent
};

// Lists all of them anew. Throws FsError; EXDEV when there are more than `most`.
FolderContents ReadFolderContents(DirectoryCache& directory, OpenFiles& files,
                                  const std::string& folder, std::size_t most);

}  // namespace b2drive::mount
