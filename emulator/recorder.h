#pragma once

#include <filesystem>
#include <string>

#include "base/thread_safety.h"
#include "emulator/message.h"
#include "emulator/planned_answer.h"

namespace emulator {

// Writes requests and their answers to a file, a line of JSON each, secrets replaced. Safe for
// concurrent use.
class Recorder {
 public:
  // Begins the file anew; only its owner can read it. Throws std::system_error.
  explicit Recorder(const std::filesystem::path& path);
  Recorder(const Recorder&) = delete;
  Recorder& operator=(const Recorder&) = delete;
  ~Recorder();

  // Before the answer is sent. `sha1` is that of the request's body as far as it was read. Throws
  // ServiceError when the file cannot be written.
  void Add(const Incoming& incoming, const std::string& sha1, const PlannedAnswer& planned);

 private:
  const std::filesystem::path path_;
  base::Mutex mutex_;
  int file_ B2_GUARDED_BY(mutex_);
};

}  // namespace emulator
