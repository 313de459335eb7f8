#include "host/commands/commands.h"
#include "host/commands/copying.h"

namespace b2drive::cli {

void AddMvCommand(CLI::App& app, Selected& selected) { AddCopying(app, selected, true); }

}  // namespace b2drive::cli
