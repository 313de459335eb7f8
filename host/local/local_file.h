#pragma once

#include <cstdint>
#include <filesystem>

#include "host/common/unique_fd.h"

namespace b2drive {

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
