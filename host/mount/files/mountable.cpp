#include "host/mount/files/mountable.h"

#include <unordered_set>

#include "host/common/path.h"
#include "host/terminal/notices.h"

namespace b2drive::mount {
namespace {

bool FitsFileSystem(const std::string& name) {
  constexpr std::size_t kLongestName = 255;
  return !name.empty() && name != "." && name != ".." && name.size() <= kLongestName &&
         name.find('/') == std::string::npos && name.find('\0') == std::string::npos;
}

}  // namespace

Listing OnlyMountable(Listing listing, const std::string& folder) {
  std::unordered_set<std::string> folders;
  for (const Entry& entry : listing) {
    if (entry.folder) folders.insert(entry.name);
  }
  std::erase_if(listing, [&](const Entry& entry) {
    if (FitsFileSystem(entry.name)) return !entry.folder && folders.contains(entry.name);
    Notice(Join(folder, entry.name) + ": left out, no file system can hold this name");
    return true;
  });
  return listing;
}

}  // namespace b2drive::mount
