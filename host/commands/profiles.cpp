#include <iostream>

#include "host/cli/entry_json.h"
#include "host/commands/commands.h"

namespace b2drive::cli {
namespace {

struct ProfilesOptions {};

ExitCode RunProfiles(Context& context, const ProfilesOptions&) {
  const auto profiles = Profiles();
  if (context.json()) {
    PrintJson(profiles);
  } else {
    for (const std::string& profile : profiles) std::cout << profile << "\n";
  }
  return ExitCode::kSuccess;
}

}  // namespace

void AddProfilesCommand(CLI::App& app, Selected& selected) {
  CLI::App* profiles = app.add_subcommand("profiles", "List the profiles that login has stored");
  Choose(profiles, selected, std::make_shared<ProfilesOptions>(), RunProfiles);
}

}  // namespace b2drive::cli
