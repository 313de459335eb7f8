#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace b2drive::cli {

// Writes help as people write it: usage, what it does, options, details; in 80 columns. Footers and
// descriptions are filled anew: lines are joined to paragraphs, but not those that begin with a
// space, nor across an empty line.
class HelpFormatter final : public CLI::FormatterBase {
 public:
  std::string make_help(const CLI::App* app, std::string name,
                        CLI::AppFormatMode mode) const override;
};

// "Usage: b2drive put [OPTIONS] LOCAL... PATH". `name` is the program's and the command's.
std::string UsageLine(const CLI::App& app, const std::string& name);

// The program's own help, also while one of its commands is chosen.
std::string ProgramHelp(const CLI::App& app);

}  // namespace b2drive::cli
