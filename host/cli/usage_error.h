#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace b2drive::cli {

// The one of `names` that `word` was probably meant to be; empty when none is near.
std::string NearestName(const std::string& word, const std::vector<std::string>& names);

// "lss: no such command; did you mean ls? (see b2drive --help)". `app` is the program.
std::string NoSuchCommand(const CLI::App& app, const std::string& word);

// What was wrong with the arguments that `app` could not parse, as one line: "COMMAND: cause".
std::string UsageErrorText(const CLI::App& app, const CLI::ParseError& error);

}  // namespace b2drive::cli
