#include <map>

#include "host/commands/commands.h"
#include "host/transfer/crew.h"
#include "host/transfer/remote_tree.h"
#include "host/transfer/versions.h"

namespace b2drive::cli {
namespace {

struct UnhideOptions {
  bool recursive = false;
  std::vector<std::string> paths;
};

// Markers that hide a file, the newest first, and then what they hide, if that is still there.
bool IsHidden(const Listing& versions) {
  return versions.size() > 1 && IsHideMarker(versions.front()) && !IsHideMarker(versions.back());
}

// Of a name's versions, the newest first, what unhiding is about.
void AddVersion(Listing& versions, const Entry& next) {
  if (versions.empty() || IsHideMarker(versions.back())) versions.push_back(next);
}

void Show(Context& context, PatientDrive& view, const Listing& hidden, const std::string& path) {
  for (const Entry& version : hidden) {
    if (IsHideMarker(version)) view.DeleteVersion(version, path);
  }
  if (NameOf(path) == kMarkerName) return;
  context.changes().Tell({"unhide", path, "", hidden.back().size, hidden.back().id});
}

// Each marker that hides the latest version goes.
void Unhide(Context& context, PatientDrive& view, const std::string& path) {
  Listing versions;
  for (const Entry& version : VersionsOf(view, context.index(), path))
    AddVersion(versions, version);
  if (!IsHidden(versions)) {
    throw HostError(ExitCode::kNotFound, path, "no hidden file has this name");
  }
  Show(context, view, versions, path);
}

// What is hidden at a path and below it. The markers of folders, too: one that was hidden empty
// stands again.
ExitCode UnhideTree(Context& context, PatientDrive& named, PatientDrive& all,
                    const std::string& path) {
  constexpr std::size_t kAtOnce = 8;
  if (IsRoot(path)) throw HostError(ExitCode::kWrongKind, path, "name a bucket or what is in it");
  std::map<std::string, Listing> names;
  for (const Entry& version : VersionsOf(named, context.index(), path))
    AddVersion(names[path], version);
  const Entry folder{NameOf(path), context.index().FolderId(path), true, 0, {}};
  WalkRemoteTree(all, folder, path, {}, [&](const RemoteItem& item) {
    if (!item.entry.folder) AddVersion(names[Join(path, item.path)], item.entry);
  });
  std::erase_if(names, [](const auto& name) { return !IsHidden(name.second); });
  if (names.empty()) throw HostError(ExitCode::kNotFound, path, "nothing is hidden there");
  Crew crew(context.transfers(), "unhide", "files are shown again", names.size(), kAtOnce);
  for (const auto& one : names) {
    crew.Run([&context, &named, &one] { Show(context, named, one.second, one.first); });
  }
  return crew.Finish();
}

// A look at one name narrows what a view shows.
ExitCode RunUnhide(Context& context, const UnhideOptions& options) {
  context.changes().Expect();
  const ViewedDrive named = context.Open(View::kVersions);
  const ViewedDrive all = context.Open(View::kVersions);
  ExitCode partly = ExitCode::kSuccess;
  const ExitCode code = ForEach("unhide", options.paths.size(), [&](std::size_t at) {
    const std::string path = PathArgument(options.paths[at]).path;
    if (!options.recursive) return Unhide(context, *named.drive, path);
    const ExitCode shown = UnhideTree(context, *named.drive, *all.drive, path);
    if (shown != ExitCode::kSuccess) partly = shown;
  });
  return code == ExitCode::kSuccess ? partly : code;
}

}  // namespace

void AddUnhideCommand(CLI::App& app, Selected& selected) {
  auto options = std::make_shared<UnhideOptions>();
  CLI::App* unhide = app.add_subcommand("unhide", "Show hidden files again");
  unhide->footer(
      "With -r a folder that rm -r --hide took comes back, with every file in it that is hidden,\n"
      "also those that were hidden before.");
  unhide->add_flag("-r,--recursive", options->recursive,
                   "All that is hidden in folders or buckets");
  unhide->add_option("PATH", options->paths)->required();
  Choose(unhide, selected, options, RunUnhide);
}

}  // namespace b2drive::cli
