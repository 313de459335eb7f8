#include <iostream>

#include "host/commands/commands.h"

namespace b2drive::cli {
namespace {

struct HelpOptions {
  const CLI::App* app = nullptr;
  std::string command;
};

ExitCode RunHelp(Context&, const HelpOptions& options) {
  if (options.command.empty()) {
    // Not by App::help, which shows the chosen command's, and that is this one.
    const auto formatter = options.app->get_formatter();
    std::cout << formatter->make_help(options.app, options.app->get_name(),
                                      CLI::AppFormatMode::Normal);
    return ExitCode::kSuccess;
  }
  try {
    std::cout << options.app->get_subcommand(options.command)->help(options.app->get_name());
  } catch (const CLI::OptionNotFound&) {
    throw HostError(ExitCode::kUsage, options.command + ": no such command; see b2drive --help");
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
