#include "host/commands/commands.h"
#include "host/commands/copying.h"

namespace b2drive::cli {

void AddCpCommand(CLI::App& app, Selected& selected) { AddCopying(app, selected, false); }

}  // namespace b2drive::cli
