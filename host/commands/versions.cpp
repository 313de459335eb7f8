#include "host/transfer/versions.h"

#include <algorithm>
#include <iostream>

#include "host/cli/entry_json.h"
#include "host/commands/commands.h"
#include "host/plugin/service_failure.h"

namespace b2drive::cli {
namespace {

struct VersionsOptions {
  std::string path;
};

std::string SizeText(const Entry& version) {
  return IsHideMarker(version) ? "hidden" : std::to_string(version.size);
}

void Print(const Listing& versions, const std::string& folder, bool named, bool json) {
  std::size_t width = 0;
  for (const Entry& version : versions) width = std::max(width, SizeText(version).size());
  for (const Entry& version : versions) {
    if (json) {
      PrintJsonLine(ToJson(version, Join(folder, version.name)));
      continue;
    }
    std::cout << std::right << std::setw(static_cast<int>(width)) << SizeText(version) << "  "
              << TimeText(version.uploaded) << "  " << Shown(FileIdOf(version));
    if (named) std::cout << "  " << Shown(version.name);
    std::cout << "\n";
  }
}

// Of a file; else of the files in a folder.
ExitCode RunVersions(Context& context, const VersionsOptions& options) {
  const PathArgument argument(options.path);
  const std::string& path = argument.path;
  if (IsRoot(path)) throw HostError(ExitCode::kWrongKind, "/", "holds buckets, without versions");
  const ViewedDrive view = context.Open(View::kVersions);
  Listing versions;
  if (!argument.asks_for_folder) versions = VersionsOf(*view.drive, context.index(), path);
  const bool in_folder = versions.empty();
  if (in_folder) {
    versions = view.drive->ListNamed(context.index().FolderId(path), "", path);
    const bool none = versions.empty() && !IsBucket(path);
    if (none) throw NotFound(path);
    std::erase_if(versions,
                  [](const Entry& entry) { return entry.folder || entry.name == kMarkerName; });
  }
  Print(versions, in_folder ? path : ParentOf(path), in_folder, context.json());
  return ExitCode::kSuccess;
}

}  // namespace

void AddVersionsCommand(CLI::App& app, Selected& selected) {
  auto options = std::make_shared<VersionsOptions>();
  CLI::App* versions =
      app.add_subcommand("versions", "Show all versions of a file, or of the files in a folder");
  versions->footer(
      "The newest first: size, when it was stored (UTC), its ID. A line with hidden in place of "
      "the\n"
      "size hides the name; unhide takes it away. get --version and restore take an ID.");
  versions->add_option("PATH", options->path)->required();
  Choose(versions, selected, options, RunVersions);
}

}  // namespace b2drive::cli
