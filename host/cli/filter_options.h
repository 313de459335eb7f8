#pragma once

#include <CLI/CLI.hpp>

#include "host/transfer/filter.h"

namespace b2drive::cli {

// Adds --include, --exclude and --exclude-from to `command`, whose rules go into `filter` in the
// order of the command line. `filter` must outlive the parsing.
void AddFilterOptions(CLI::App* command, Filter& filter);

}  // namespace b2drive::cli
