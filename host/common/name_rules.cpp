#include "host/common/name_rules.h"

#include <cerrno>

#include "base/utf8.h"
#include "host/common/fs_error.h"
#include "host/common/path.h"

namespace b2drive {
namespace {

constexpr std::size_t kLongestName = 250;
constexpr std::size_t kLongestPath = 1000;  // without the bucket

bool IsPlainText(std::string_view text) {
  while (!text.empty()) {
    const auto code = base::TakeCharacter(text).code;
    if (!code || *code < 0x20 || *code == 0x7F) return false;
  }
  return true;
}

}  // namespace

void CheckName(const std::string& path) {
  const std::string name = NameOf(path);
  const std::size_t object = path.size() - path.find('/', 1) - 1;
  if (name.size() > kLongestName || object > kLongestPath) {
    throw FsError(ENAMETOOLONG, path + ": too long for the service");
  }
  if (!IsPlainText(name)) throw FsError(EILSEQ, path + ": the service stores no such name");
  if (name.empty()) throw FsError(EINVAL, path + ": an empty name");
  if (name == "." || name == "..") {
    throw FsError(EINVAL, path + ": a name that means a folder elsewhere");
  }
  if (name.ends_with(kMarkerName)) {
    throw FsError(EINVAL, path + ": a name that folders need for themselves");
  }
}

}  // namespace b2drive
