#pragma once

#include <nlohmann/json.hpp>

#include "emulator/core.h"
#include "emulator/url.h"

namespace emulator {

// What the control host shows and replaces of the account's content. Requests that do not fit throw
// std::invalid_argument, ServiceError or json::exception, and change nothing.

// The files of all buckets, or those that `query` wants: bucket, prefix, versions=true.
nlohmann::json ShowFiles(const Core& core, const Pairs& query);

nlohmann::json ShowState(const Core& core);
nlohmann::json ReplaceState(Core& core, const nlohmann::json& document);

}  // namespace emulator
