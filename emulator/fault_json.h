#pragma once

#include <chrono>
#include <nlohmann/json.hpp>
#include <vector>

#include "emulator/fault_plan.h"

namespace emulator {

// The fault that an object describes, or those of an array of objects. Throws json::exception for
// values of the wrong type, std::invalid_argument for members and calls that do not exist.
std::vector<Fault> FaultsOf(const nlohmann::json& body);

// A whole number of milliseconds. Throws json::exception for another value.
std::chrono::milliseconds MillisecondsOf(const nlohmann::json& value);

}  // namespace emulator
