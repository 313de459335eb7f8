#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "emulator/store.h"

namespace emulator {

// Files to fill a bucket with, written BUCKET/PREFIX:COUNT:SIZE[:FOLDERS]. A single file is named
// PREFIX. More are named PREFIX and a seven-digit number from 0 on; with FOLDERS they are spread
// over as many folders "PREFIX<four digits>/". SIZE takes the suffixes K, M and G (powers of
// 1024). All files of a seed share their bytes.
struct Seed {
  std::string bucket = {};
  std::string prefix = {};
  uint64_t count = 1;
  uint64_t size = 0;
  uint64_t folders = 0;
};

// Throws std::invalid_argument.
Seed ParseSeed(std::string_view text);

// The bucket of that name, made (allPrivate) if there is none.
Bucket EnsureBucket(Store& store, const std::string& name);

// Makes the seed's files, and its bucket if need be. Returns false, without the rest of them, when
// `go_on` does, which is asked before each file. Throws std::runtime_error when they do not fit
// into memory.
bool Plant(Store& store, const Seed& seed, const std::function<bool()>& go_on = {});

// Adds one file to a bucket, which is made if need be.
VersionPtr AddText(Store& store, const std::string& bucket, const std::string& name,
                   std::string_view text, const FileInfo& info = {});

// What another client would do: hide the visible file of that name, or delete all versions of a
// name. Both throw ServiceError when there is none.
void HideFile(Store& store, const std::string& bucket, const std::string& name);
void DeleteVersions(Store& store, const std::string& bucket, const std::string& name);

}  // namespace emulator
