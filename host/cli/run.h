#pragma once

#include <functional>
#include <string>

#include "host/cli/command.h"

namespace b2drive::cli {

using AddCommandsTo = std::function<void(CLI::App&, Selected&)>;

// "b2drive 1.0.0".
std::string VersionText();

// The whole program: reads the arguments, runs the command and gives the exit code.
int Run(int argc, char** argv, const AddCommandsTo& add_commands);

}  // namespace b2drive::cli
