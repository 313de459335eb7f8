#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "emulator/large_files.h"
#include "emulator/version.h"

namespace emulator {

// `id` and `revision` are the store's to choose.
struct Bucket {
  std::string id = {};
  std::string name = {};
  std::string type = "allPrivate";
  FileInfo info = {};
  std::string cors_rules = "[]";       // JSON, kept as it came
  std::string lifecycle_rules = "[]";  // JSON, kept as it came; nothing acts on it
  int64_t revision = 1;
};

// All that a store holds at one moment. Versions are of these buckets, parts of unfinished ones
// among the versions.
struct State {
  std::vector<Bucket> buckets = {};
  std::vector<VersionPtr> versions = {};
  std::vector<std::pair<uint64_t, Part>> parts = {};  // by their file's sequence
  uint64_t next_sequence = 0x100001;
};

}  // namespace emulator
