#pragma once

#include <nlohmann/json.hpp>
#include <vector>

#include "emulator/access_key.h"
#include "emulator/state.h"
#include "emulator/store.h"

namespace emulator {

// All that the account holds, in one object: buckets, files and parts with their bytes, keys with
// their secrets. Throws std::invalid_argument when the bytes are too many.
nlohmann::json StateDocument(const State& state, const std::vector<KeyPtr>& keys);

struct Snapshot {
  State state;
  std::vector<KeyPtr> keys;
};

// What a document holds, its bytes kept where the store's are. Throws std::invalid_argument,
// ServiceError or json::exception for a document that no emulator has written.
Snapshot SnapshotFrom(const nlohmann::json& document, Store& store);

}  // namespace emulator
