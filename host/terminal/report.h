#pragma once

#include <string>

#include "host/common/errors.h"

namespace b2drive {

// Prints a failure as one line on standard error: "b2drive: COMMAND /PATH: cause", or as JSON
// {"error", "code", "path"}, where the code is the exit code and the path may be missing. `command`
// may be empty. The text alone has the code of any failure.
void Report(const std::string& command, const HostError& failure);
void Report(const std::string& command, const std::string& text);

// Prints what is no failure and yet worth a line: "b2drive: COMMAND: TEXT", or {"note"}. Nothing
// when quiet.
void Note(const std::string& command, const std::string& text);

}  // namespace b2drive
