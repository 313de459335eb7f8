#include "host/local/replace_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>

#include "host/common/errors.h"
#include "host/common/unique_fd.h"
#include "host/local/local_io.h"
#include "host/terminal/interrupt.h"

namespace b2drive {
namespace {

// Removes the file unless it went to its place.
class Draft {
 public:
  explicit Draft(const std::filesystem::path& file) : name_(file.string() + ".XXXXXX") {
    fd_ = UniqueFd(mkostemp(name_.data(), O_CLOEXEC));
    if (!fd_) throw LocalFailure(file.string(), errno);
  }
  ~Draft() { unlink(name_.c_str()); }
  Draft(const Draft&) = delete;
  Draft& operator=(const Draft&) = delete;

  int fd() const { return fd_.get(); }
  const std::string& name() const { return name_; }

 private:
  std::string name_;
  UniqueFd fd_;
  const InterruptCleanup at_exit_{[this] { unlink(name_.c_str()); }};
};

}  // namespace

void ReplaceFile(const std::filesystem::path& file, std::string_view bytes) {
  const Draft draft(file);
  const int error = WriteAll(draft.fd(), bytes);
  if (error != 0) throw LocalFailure("writing " + file.string(), error);
  if (fsync(draft.fd()) != 0) throw LocalFailure("writing " + file.string(), errno);
  if (rename(draft.name().c_str(), file.c_str()) != 0) throw LocalFailure(file.string(), errno);
}

}  // namespace b2drive
