#include <iostream>

#include "host/cli/run.h"
#include "host/commands/commands.h"

namespace b2drive::cli {
namespace {

struct VersionOptions {};

ExitCode RunVersion(Context&, const VersionOptions&) {
  std::cout << VersionText() << "\n";
  return ExitCode::kSuccess;
}

}  // namespace

void AddVersionCommand(CLI::App& app, Selected& selected) {
  CLI::App* version = app.add_subcommand("version", "Print the program's version");
  Choose(version, selected, std::make_shared<VersionOptions>(), RunVersion);
}

}  // namespace b2drive::cli
