#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace b2drive::cli {

// A command's page for man(1), from the texts of its help. `more` is set as it is before the page's
// end: sections that the help is too short for.
std::string ManualPage(const CLI::App& command, const std::string& more);

// The page's name: "b2drive-ls" for the command ls.
std::string ManualName(const CLI::App& command);

}  // namespace b2drive::cli
