#pragma once

#include <cstdint>
#include <ctime>
#include <filesystem>
#include <optional>

#include "host/common/unique_fd.h"

namespace b2drive {

// An opened local file whose contents are to be sent.
struct LocalSource {
  UniqueFd fd;
  std::uint64_t size = 0;  // bytes
  std::optional<timespec> modified{};

  // Whether it was written since it was opened, as far as its size and time tell.
  bool IsChanged() const;
};

// Throws kLocalFile, or kWrongKind when `file` is no regular file.
LocalSource OpenSource(const std::filesystem::path& file);

// Copies standard input into a file without a name, since its size must be known before sending.
LocalSource SpoolStandardInput();

}  // namespace b2drive
