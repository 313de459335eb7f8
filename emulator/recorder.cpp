#include "emulator/recorder.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>
#include <system_error>

#include "emulator/errors.h"
#include "emulator/recording.h"

namespace emulator {

Recorder::Recorder(const std::filesystem::path& path)
    : path_(path), file_(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600)) {
  if (file_ < 0) throw std::system_error(errno, std::generic_category(), path.string());
}

Recorder::~Recorder() { close(file_); }

void Recorder::Add(const Incoming& incoming, const std::string& sha1,
                   const PlannedAnswer& planned) {
  const std::string line = LineOf({RequestOf(incoming, sha1), incoming.base, planned});
  base::Lock lock(mutex_);
  for (std::string_view rest = line; !rest.empty();) {
    const ssize_t written = write(file_, rest.data(), rest.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) {
      throw ServiceError(503, "service_unavailable",
                         path_.string() + ": " + std::generic_category().message(errno));
    }
    rest.remove_prefix(static_cast<size_t>(written));
  }
}

}  // namespace emulator
