#pragma once

#include <functional>

#include "host/cli/command.h"

namespace b2drive::cli {

using AddCommandsTo = std::function<void(CLI::App&, Selected&)>;

// The whole program: reads the arguments, runs the command and gives the exit code.
int Run(int argc, char** argv, const AddCommandsTo& add_commands);

}  // namespace b2drive::cli
