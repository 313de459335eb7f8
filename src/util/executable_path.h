#pragma once

#include <string>

namespace util {

// The path of the running program, or an empty text when the system does not tell it.
std::string ExecutablePath();

// The resolved directory ../Frameworks seen from the folder of the program `executable`, without a
// slash at its end; an empty text when there is no such directory.
std::string FrameworksDirectory(const std::string& executable = ExecutablePath());

}  // namespace util
