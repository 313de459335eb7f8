#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "emulator/content.h"
#include "emulator/names.h"

namespace emulator {

enum class Action { kUpload, kHide, kStart };

// What a client says about a file it stores.
struct NewFile {
  std::string name = {};
  std::string content_type = "b2/x-auto";
  FileInfo info = {};
};

// One version of a file name, immutable: a finished large file is a new object with the same ID.
struct Version {
  std::string Id() const;

  std::string name;
  std::string content_type;
  FileInfo info;
  std::shared_ptr<const std::string> bucket_id;
  ContentPtr content;  // never null; empty for hide markers and unfinished files
  int64_t timestamp;   // ms since 1970
  uint64_t sequence;   // grows with each version made, in all buckets together
  Action action;
  bool large = false;
};
using VersionPtr = std::shared_ptr<const Version>;

}  // namespace emulator
