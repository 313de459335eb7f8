#include "host/commands/commands.h"

namespace b2drive::cli {

void AddCommands(CLI::App& app, Selected& selected) {
  AddLsCommand(app, selected);
  AddFindCommand(app, selected);
  AddDuCommand(app, selected);
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
  AddLoginCommand(app, selected);
  AddLogoutCommand(app, selected);
  AddProfilesCommand(app, selected);
  AddWhoamiCommand(app, selected);
  AddDoctorCommand(app, selected);
  AddCompletionCommand(app, selected);
  AddFormsCommand(app, selected);
  AddDecodeLogCommand(app, selected);
  AddHelpCommand(app, selected);
  AddVersionCommand(app, selected);
  AddTextsCommand(app, selected);
}

}  // namespace b2drive::cli
