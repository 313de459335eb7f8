#include <iostream>

#include "host/cli/help_formatter.h"
#include "host/cli/usage_error.h"
#include "host/commands/commands.h"

namespace b2drive::cli {
namespace {

struct HelpOptions {
  const CLI::App* app = nullptr;
  std::string command;
};

ExitCode RunHelp(Context&, const HelpOptions& options) {
  if (options.command.empty()) {
    std::cout << ProgramHelp(*options.app);
    return ExitCode::kSuccess;
  }
  try {
    std::cout << options.app->get_subcommand(options.command)->help(options.app->get_name());
  } catch (const CLI::OptionNotFound&) {
    throw HostError(ExitCode::kUsage, NoSuchCommand(*options.app, options.command));
  }
  return ExitCode::kSuccess;
}

}  // namespace

void AddHelpCommand(CLI::App& app, Selected& selected) {
  auto options = std::make_shared<HelpOptions>();
  options->app = &app;
  CLI::App* help = app.add_subcommand("help", "Show a command's help");
  help->add_option("COMMAND", options->command);
  Choose(help, selected, options, RunHelp);
}

}  // namespace b2drive::cli
