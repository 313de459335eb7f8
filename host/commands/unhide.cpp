#include "host/commands/commands.h"
#include "host/transfer/versions.h"

namespace b2drive::cli {
namespace {

struct UnhideOptions {
  std::vector<std::string> paths;
};

// Each marker that hides the latest version goes.
void Unhide(Context& context, PatientDrive& view, const std::string& path) {
  const Listing versions = VersionsOf(view, context.index(), path);
  const bool hidden = !versions.empty() && IsHideMarker(versions.front());
  if (!hidden) throw HostError(ExitCode::kNotFound, path, "no hidden file has this name");
  for (const Entry& version : versions) {
    if (!IsHideMarker(version)) {
      context.changes().Tell({"unhide", path, "", version.size, version.id});
      return;
    }
    view.DeleteVersion(version, path);
  }
  throw HostError(ExitCode::kNotFound, path, "nothing was hidden under this name");
}

ExitCode RunUnhide(Context& context, const UnhideOptions& options) {
  context.changes().Expect();
  const ViewedDrive view = context.Open(View::kVersions);
  return ForEach("unhide", options.paths.size(), [&](std::size_t at) {
    Unhide(context, *view.drive, PathArgument(options.paths[at]).path);
  });
}

}  // namespace

void AddUnhideCommand(CLI::App& app, Selected& selected) {
  auto options = std::make_shared<UnhideOptions>();
  CLI::App* unhide = app.add_subcommand("unhide", "Show hidden files again");
  unhide->add_option("PATH", options->paths)->required();
  Choose(unhide, selected, options, RunUnhide);
}

}  // namespace b2drive::cli
