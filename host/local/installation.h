#pragma once

#include <filesystem>

namespace b2drive {

// The folder of the running program, links resolved.
std::filesystem::path ProgramFolder();

// Throws kNoCaBundle unless Frameworks/cacert.pem stands beside the program's folder. The plug-in
// looks for it there and would talk to an unverified server without it.
void RequireCaBundle(const std::filesystem::path& program_folder);

// The library installed with the program.
std::filesystem::path ShippedPlugin(const std::filesystem::path& program_folder);

}  // namespace b2drive
