#include <iostream>

#include "host/cli/help_formatter.h"
#include "host/cli/usage_error.h"
#include "host/commands/commands.h"

namespace b2drive::cli {
namespace {

struct HelpOptions {
  const CLI::App* app = nullptr;
  std::vector<std::string> command;  // and those in it
};

ExitCode RunHelp(Context&, const HelpOptions& options) {
  if (options.command.empty()) {
    std::cout << ProgramHelp(*options.app);
    return ExitCode::kSuccess;
  }
  const CLI::App* command = options.app;
  std::string above;
  for (const std::string& word : options.command) {
    above += (above.empty() ? "" : " ") + command->get_name();
    try {
      command = command->get_subcommand(word);
    } catch (const CLI::OptionNotFound&) {
      throw HostError(ExitCode::kUsage, NoSuchCommand(*command, word));
    }
  }
  std::cout << command->help(above);
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
