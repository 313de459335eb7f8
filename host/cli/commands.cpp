#include "host/cli/commands.h"

#include "host/terminal/terminal.h"
#include "host/terminal/text_format.h"

namespace b2drive::cli {

void AddCommands(CLI::App& app, Selected& selected) {
  AddListCommands(app, selected);
  AddReadCommands(app, selected);
  AddPutCommand(app, selected);
  AddFolderCommands(app, selected);
  AddRmCommand(app, selected);
  AddLogCommands(app, selected);
#ifdef B2_WITH_MOUNT
  AddMountCommands(app, selected);
#endif
  AddHelpCommand(app, selected);
  for (CLI::App* command : app.get_subcommands({})) {
    std::string details = command->get_footer();
    command->footer((details.empty() ? "" : details + "\n\n") +
                    "b2drive --help tells of the account, the options for every command and the "
                    "exit codes.");
  }
}

void Report(const std::string& command, const std::string& text) {
  const char* separator = text.starts_with('/') ? " " : ": ";
  PrintToTerminal(EscapeControls("b2drive: " + command + separator + text));
}

ExitCode ForEach(const std::string& command, std::size_t count,
                 const std::function<void(std::size_t)>& action) {
  ExitCode result = ExitCode::kSuccess;
  for (std::size_t i = 0; i < count; ++i) {
    try {
      action(i);
    } catch (const HostError& error) {
      if (count == 1 || error.exit_code() == ExitCode::kInterrupted) throw;
      Report(command, error.what());
      result = ExitCode::kPartly;
    }
  }
  return result;
}

void CallForBucket(const std::string& path, const char* likely_reason,
                   const std::function<void()>& call) {
  try {
    call();
  } catch (const HostError& error) {
    if (!IsBucket(path) || error.exit_code() != ExitCode::kFailed) throw;
    throw HostError(error.exit_code(), std::string(error.what()) + "; " + likely_reason,
                    error.code());
  }
}

}  // namespace b2drive::cli
