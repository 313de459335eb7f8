#pragma once

#include <nlohmann/json.hpp>

#include "emulator/access_key.h"
#include "emulator/state.h"

namespace emulator {

// What is kept of each thing, and back. A version's and a part's content is the caller's to add and
// to give. Reading throws json::exception or std::invalid_argument for what was not written so.
nlohmann::json BucketRecord(const Bucket& bucket);
Bucket BucketFrom(const nlohmann::json& record);

// `bucket_id` and `content` are for the caller to set.
nlohmann::json VersionRecord(const Version& version);
Version VersionFrom(const nlohmann::json& record);

nlohmann::json PartRecord(const Part& part);
Part PartFrom(const nlohmann::json& record);

nlohmann::json KeyRecord(const Key& key);
Key KeyFrom(const nlohmann::json& record);

}  // namespace emulator
