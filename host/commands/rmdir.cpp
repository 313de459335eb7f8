#include <algorithm>
#include <set>

#include "host/commands/commands.h"
#include "host/commands/deletion.h"
#include "host/plugin/service_failure.h"

namespace b2drive::cli {
namespace {

struct RmdirOptions {
  bool yes = false;
  std::vector<std::string> paths;
};

// Those in `going` do not count.
Victim EmptyFolder(PathIndex& index, const std::string& path,
                   const std::set<std::string>& going = {}) {
  Victim victim{path, index.FindFolder(path)};
  const Listing children = index.Children(path);
  const bool empty = std::ranges::all_of(children, [&](const Entry& child) {
    return child.folder && going.contains(Join(path, child.name));
  });
  if (!empty) throw ServiceFailure(path, AERROR::DIR_NOT_EMPTY, {});
  return victim;
}

// Takes only what keeps the folder: what came into it since it was looked at stays.
void RemoveOne(Context& context, const std::string& path) {
  context.index().Forget(path);
  Victim victim = EmptyFolder(context.index(), path);
  if (IsBucket(path)) return DeleteFolder(context.drive(), victim);
  if (context.storage().RemoveMarker(victim.entry, path)) return;
  context.index().Forget(ParentOf(path));
  context.index().FindFolder(path);
  throw HostError(ExitCode::kNotEmpty, path,
                  "the folder holds hidden or unfinished files, which versions and unfinished "
                  "show; rm -r deletes them too");
}

ExitCode RunRmdir(Context& context, const RmdirOptions& options) {
  context.changes().Expect();
  std::vector<Victim> victims;
  std::set<std::string> going;  // in the order given, as those below them must be
  for (const std::string& path : options.paths) {
    const PathArgument argument(path);
    CheckDeletable(argument);
    Victim victim = EmptyFolder(context.index(), argument.path, going);
    if (going.insert(argument.path).second) victims.push_back(std::move(victim));
  }
  ConfirmDeletion(victims, {victims.size()}, options.yes, context.index());
  return ForEach("rmdir", victims.size(), [&](std::size_t at) {
    const auto& [path, entry] = victims[at];
    RemoveOne(context, path);
    context.changes().Tell({"rmdir", path, "", std::nullopt, entry.id});
  });
}

}  // namespace

void AddRmdirCommand(CLI::App& app, Selected& selected) {
  auto options = std::make_shared<RmdirOptions>();
  CLI::App* rmdir = app.add_subcommand("rmdir", "Delete empty folders and buckets");
  rmdir->footer(
      "Only what keeps an empty folder is deleted: hidden files do not count and stay, as does\n"
      "what others store in the folder meanwhile. A bucket that has hidden files stays.");
  rmdir->add_flag("-y,--yes", options->yes, "Do not ask before deleting several");
  rmdir->add_option("PATH", options->paths)->required();
  Choose(rmdir, selected, options, RunRmdir);
}

}  // namespace b2drive::cli
