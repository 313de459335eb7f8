#include "host/cli/arguments.h"
#include "host/cli/time_argument.h"
#include "host/commands/commands.h"
#include "host/terminal/report.h"
#include "host/transfer/versions.h"

namespace b2drive::cli {
namespace {

struct RestoreOptions {
  std::string path;
  std::string version;
  std::string before;
};

Entry ChooseVersion(const Listing& versions, const RestoreOptions& options,
                    const std::string& path) {
  if (!options.version.empty()) {
    Entry version = FindVersion(versions, options.version, path);
    if (!IsHideMarker(version)) return version;
    throw HostError(ExitCode::kWrongKind, path, "that version hides the name; see unhide");
  }
  if (const auto version = VersionAt(versions, ParseTime("--before", options.before))) {
    return *version;
  }
  throw HostError(ExitCode::kNotFound, path, "was not there at " + options.before);
}

ExitCode RunRestore(Context& context, const RestoreOptions& options) {
  if (options.version.empty() && options.before.empty()) {
    throw HostError(ExitCode::kUsage,
                    "which version? give --version or --before (see b2drive restore --help)");
  }
  const std::string path = PathArgument(options.path).path;
  context.changes().Expect();
  const ViewedDrive view = context.Open(View::kVersions);
  PathIndex& index = context.index();
  const Listing versions = VersionsOf(*view.drive, index, path);
  const Entry version = ChooseVersion(versions, options, path);
  if (version.id == versions.front().id) {
    Note("restore", path + ": that is its latest version already");
    return ExitCode::kSuccess;
  }
  const auto find_copied = [&]() -> std::optional<Entry> {
    const Listing now = VersionsOf(*view.drive, index, path);
    const bool shown = !now.empty() && !IsHideMarker(now.front());
    return shown ? std::optional(now.front()) : std::nullopt;
  };
  const Entry copy = view.drive->Copy(version, index.FolderId(ParentOf(path)), path, find_copied);
  context.changes().Tell({"restore", path, "", version.size, copy.id});
  return ExitCode::kSuccess;
}

}  // namespace

void AddRestoreCommand(CLI::App& app, Selected& selected) {
  auto options = std::make_shared<RestoreOptions>();
  CLI::App* restore =
      app.add_subcommand("restore", "Make an older version of a file its latest one");
  restore->footer(
      "The service copies that version on top of the others, which stay, and of a marker that "
      "hides\n"
      "the name. b2drive versions shows what there is.");
  restore->add_option("PATH", options->path)->required();
  NotEmpty(restore->add_option("--version", options->version, "That of this ID"))->type_name("ID");
  NotEmpty(
      restore->add_option("--before", options->before, "That which was shown at this time (UTC)"))
      ->type_name("TIME")
      ->excludes("--version");
  Choose(restore, selected, options, RunRestore);
}

}  // namespace b2drive::cli
