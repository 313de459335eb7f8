#include "host/mount/files/mountable.h"

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

void MountableNames::StartOver() {
  left_out_.clear();
  receiver_.StartOver();
}

bool MountableNames::Take(Entry entry) {
  if (FitsFileSystem(entry.name)) return receiver_.Take(std::move(entry));
  Notice(Join(folder_, entry.name) + ": left out, no file system can hold this name");
  return left_out_.insert(entry.folder ? entry.name + "/" : entry.name).second;
}

}  // namespace b2drive::mount
