#pragma once

#include <string_view>

namespace b2drive {

// Why nothing on this system can have that name; null when something can.
const char* WhyNoName(std::string_view name);

}  // namespace b2drive
