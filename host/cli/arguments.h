#pragma once

#include <CLI/CLI.hpp>

namespace b2drive::cli {

// Parses the arguments of `app`, each as it is: CLI11 alone would take "[a,b]" for two. To be
// called once. Throws CLI::Error.
void ParseArguments(CLI::App& app, int argc, char** argv);

// Refuses an empty text for `option`, which it gives back: a variable that is not set must not mean
// that nothing was asked for.
CLI::Option* NotEmpty(CLI::Option* option);

}  // namespace b2drive::cli
