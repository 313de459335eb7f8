#pragma once

#include <sys/types.h>

#include <filesystem>
#include <memory>
#include <string>

#include "host/common/unique_fd.h"
#include "host/terminal/interrupt.h"

namespace b2drive {

// A file that appears under its name only when it is complete. Until Commit its bytes stand beside
// it under a temporary name, for nobody else to read, which is removed on every way out, an
// interrupted one included.
class PendingFile {
 public:
  // Throws kWrongKind when `target` exists and is no regular file, kLocalFile when it cannot be
  // made.
  explicit PendingFile(std::filesystem::path target);
  ~PendingFile();
  PendingFile(const PendingFile&) = delete;
  PendingFile& operator=(const PendingFile&) = delete;

  int fd() const { return fd_.get(); }
  const std::filesystem::path& target() const { return target_; }

  // Puts the file in place, over an older one, whose mode it takes. Once its bytes are on disk, so
  // that a power cut leaves the old file or the new one. Throws kLocalFile.
  void Commit();

 private:
  std::filesystem::path target_;
  std::string temporary_;
  mode_t mode_ = 0;  // of the file in place
  UniqueFd fd_;
  bool committed_ = false;
  std::unique_ptr<InterruptCleanup> remove_at_exit_;
};

// An opened local file whose contents are to be sent.
struct LocalSource {
  UniqueFd fd;
  std::uint64_t size = 0;  // bytes
};

// Throws kLocalFile, or kWrongKind when `file` is no regular file.
LocalSource OpenSource(const std::filesystem::path& file);

// Copies standard input into a file without a name, since its size must be known before sending.
LocalSource SpoolStandardInput();

}  // namespace b2drive
