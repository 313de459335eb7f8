#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

#include "emulator/store.h"

namespace emulator {

// A folder to fill buckets from: DIR, whose folders are buckets of their names, or BUCKET=DIR.
struct SeedFolder {
  std::string bucket = {};  // empty: those that the folders name
  std::filesystem::path path = {};
};

// Text before the first "=" is a bucket when it could name one.
SeedFolder ParseSeedFolder(std::string_view text);

// Stores the files below the folder, with the times of their last change as
// src_last_modified_millis; links to files count as files, and all that is neither file nor folder
// is left out. Returns false when `go_on` does, which is asked again and again. Throws
// std::runtime_error when something cannot be read or has a name that the service does not take, or
// when all of it does not fit into memory.
bool Plant(Store& store, const SeedFolder& seed, const std::function<bool()>& go_on);

}  // namespace emulator
