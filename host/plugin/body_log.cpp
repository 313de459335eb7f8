#include "host/plugin/body_log.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "host/common/errors.h"
#include "host/local/local_io.h"
#include "host/terminal/terminal.h"

namespace b2drive {

bool IsBodyLine(std::string_view line) {
  std::string_view first = line.substr(0, line.find('\n'));
  return first.size() < line.size() && (first.ends_with(">> ") || first.ends_with(">>"));
}

BodyLog::BodyLog(const std::string& file)
    : name_(file),
      fd_(open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK,
               0600)) {
  struct stat status {};
  if (!fd_ && errno == ELOOP) {
    throw HostError(ExitCode::kLocalFile, name_, "is a link; name the file itself");
  }
  if (!fd_ || fstat(fd_.get(), &status) != 0) throw LocalFailure(name_, errno);
  if (!S_ISREG(status.st_mode) || status.st_uid != geteuid() || (status.st_mode & 077) != 0) {
    throw HostError(ExitCode::kLocalFile,
                    name_ +
                        ": must be a regular file of yours that nobody else can read; run "
                        "chmod 600 or name a new file");
  }
}

void BodyLog::Append(std::string_view text) {
  const int error = fd_ ? WriteAll(fd_.get(), text) : 0;
  if (error == 0) return;
  PrintToTerminal("b2drive: " + std::string(LocalFailure(name_, error).what()) +
                  "; no more bodies are logged");
  fd_ = UniqueFd();
}

}  // namespace b2drive
