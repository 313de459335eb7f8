#include <unistd.h>

#include <cerrno>
#include <iostream>

#include "host/cli/entry_json.h"
#include "host/commands/commands.h"

namespace b2drive::cli {
namespace {

struct LogoutOptions {};

ExitCode RunLogout(Context& context, const LogoutOptions&) {
  const std::string profile = context.profile();
  const std::filesystem::path file = ProfileFile(profile);
  if (unlink(file.c_str()) != 0) {
    if (errno != ENOENT) throw LocalFailure(file.string(), errno);
    throw HostError(ExitCode::kNoAccount, "profile " + profile + ": there is none");
  }
  if (context.json()) {
    PrintJson({{"profile", profile}, {"removed", file.string()}});
  } else {
    std::cout << "profile " << profile << ": removed; the key stays valid until it is deleted on "
              << "the service\n";
  }
  return ExitCode::kSuccess;
}

}  // namespace

void AddLogoutCommand(CLI::App& app, Selected& selected) {
  CLI::App* logout = app.add_subcommand("logout", "Remove the account that login stored");
  Choose(logout, selected, std::make_shared<LogoutOptions>(), RunLogout);
}

}  // namespace b2drive::cli
