#pragma once

#include <string>

#include "host/cli/command.h"

namespace b2drive::cli {

// Adds the command "mv" or "cp".
void AddCopying(CLI::App& app, Selected& selected, bool move);

}  // namespace b2drive::cli
