#include "host/commands/commands.h"

namespace b2drive::cli {

void AddCommands(CLI::App& app, Selected& selected) {
  AddLsCommand(app, selected);
  AddStatCommand(app, selected);
  AddCatCommand(app, selected);
  AddHeadCommand(app, selected);
  AddTailCommand(app, selected);
  AddGetCommand(app, selected);
  AddPutCommand(app, selected);
  AddMkdirCommand(app, selected);
  AddRmdirCommand(app, selected);
  AddRmCommand(app, selected);
  AddSyncCommand(app, selected);
#ifdef B2_WITH_MOUNT
  AddMountCommand(app, selected);
  AddStatusCommand(app, selected);
#endif
  AddFormsCommand(app, selected);
  AddDecodeLogCommand(app, selected);
  AddHelpCommand(app, selected);
  for (CLI::App* command : app.get_subcommands({})) {
    std::string details = command->get_footer();
    command->footer((details.empty() ? "" : details + "\n\n") +
                    "b2drive --help tells of the account, the options for every command and the "
                    "exit codes.");
  }
}

}  // namespace b2drive::cli
