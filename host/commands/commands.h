#pragma once

#include "host/cli/command.h"

namespace b2drive::cli {

// Adds every command to `app`; parsing the arguments then fills `selected`, which must outlive it.
void AddCommands(CLI::App& app, Selected& selected);

void AddCatCommand(CLI::App& app, Selected& selected);
void AddCompletionCommand(CLI::App& app, Selected& selected);
void AddDecodeLogCommand(CLI::App& app, Selected& selected);
void AddDoctorCommand(CLI::App& app, Selected& selected);
void AddDuCommand(CLI::App& app, Selected& selected);
void AddFindCommand(CLI::App& app, Selected& selected);
void AddFormsCommand(CLI::App& app, Selected& selected);
void AddGetCommand(CLI::App& app, Selected& selected);
void AddHeadCommand(CLI::App& app, Selected& selected);
void AddHelpCommand(CLI::App& app, Selected& selected);
void AddLoginCommand(CLI::App& app, Selected& selected);
void AddLogoutCommand(CLI::App& app, Selected& selected);
void AddLsCommand(CLI::App& app, Selected& selected);
void AddMkdirCommand(CLI::App& app, Selected& selected);
void AddMountCommand(CLI::App& app, Selected& selected);
void AddProfilesCommand(CLI::App& app, Selected& selected);
void AddPutCommand(CLI::App& app, Selected& selected);
void AddRmCommand(CLI::App& app, Selected& selected);
void AddRmdirCommand(CLI::App& app, Selected& selected);
void AddStatCommand(CLI::App& app, Selected& selected);
void AddStatusCommand(CLI::App& app, Selected& selected);
void AddSyncCommand(CLI::App& app, Selected& selected);
void AddTailCommand(CLI::App& app, Selected& selected);
void AddTextsCommand(CLI::App& app, Selected& selected);
void AddVersionCommand(CLI::App& app, Selected& selected);
void AddWhoamiCommand(CLI::App& app, Selected& selected);

}  // namespace b2drive::cli
