#pragma once

#include <string>

namespace b2drive {

// Prints "b2drive: COMMAND /PATH: cause" as one line on standard error.
void Report(const std::string& command, const std::string& text);

}  // namespace b2drive
