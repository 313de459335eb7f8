#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "emulator/store.h"

namespace emulator {

// What an answer's form depends on.
struct Dialect {
  const std::string& account_id;
  int version;  // of the API, as in the URL
};

nlohmann::json BucketJson(const Bucket& bucket, const Dialect& dialect);

// A version as uploads, get_file_info and large files show it.
nlohmann::json FileJson(const Version& version, const Dialect& dialect);

// A version as listings and hide_file show it.
nlohmann::json ListedJson(const Version& version, const Dialect& dialect);
nlohmann::json EntryJson(const ListEntry& entry, const Dialect& dialect);

nlohmann::json PartJson(const Part& part, const std::string& file_id, const Dialect& dialect);

}  // namespace emulator
