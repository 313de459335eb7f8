#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "host/local/local_file.h"

namespace b2drive {

// The SHA-1 of a large file that is to be sent, made on a thread of its own while the program signs
// in and looks where the file goes.
class DigestAhead {
 public:
  // Begins at once. Of a file that is short or cannot be read there will be none.
  explicit DigestAhead(const std::filesystem::path& local);
  ~DigestAhead();  // gives it up
  DigestAhead(const DigestAhead&) = delete;
  DigestAhead& operator=(const DigestAhead&) = delete;

  // Waits for it; for one thread, once. None where `source` is not what was read.
  std::optional<std::string> Of(const LocalSource& source);

 private:
  std::optional<std::string> Hash() const;
  void ReadPiece(std::vector<char>& piece, std::uint64_t at) const;

  std::optional<LocalSource> file_;
  std::atomic<bool> given_up_{false};
  std::optional<std::string> sha1_;
  std::thread thread_;
};

}  // namespace b2drive
