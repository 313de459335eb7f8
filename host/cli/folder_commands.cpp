#include "host/cli/commands.h"
#include "host/cli/deletion.h"
#include "host/plugin/service_failure.h"

namespace b2drive::cli {
namespace {

struct MkdirOptions {
  bool parents = false;
  std::vector<std::string> paths;
};

struct RmdirOptions {
  bool yes = false;
  std::vector<std::string> paths;
};

void MakeOne(Context& context, const PathArgument& argument) {
  PathIndex& index = context.index();
  const std::string& path = argument.path;
  if (auto found = index.Lookup(argument)) {
    throw HostError(ExitCode::kExists,
                    path + ": exists already, a " + (found->folder ? "folder" : "file"));
  }
  Entry parent = index.FindFolder(ParentOf(path));
  CallForBucket(path,
                "a bucket's name has 6 to 50 letters, digits and -, and no other account may have "
                "a bucket of that name",
                [&] { context.storage().MakeFolder(parent, path); });
  index.Forget(ParentOf(path));
}

void MakeWithParents(Context& context, const std::string& path) {
  std::string walked = "/";
  for (const std::string& name : NamesOf(path)) {
    walked = Join(walked, name);
    if (!context.index().LookupFolder(walked)) MakeOne(context, PathArgument(walked));
  }
}

ExitCode RunMkdir(Context& context, const MkdirOptions& options) {
  return ForEach("mkdir", options.paths.size(), [&](std::size_t at) {
    const PathArgument argument(options.paths[at]);
    options.parents ? MakeWithParents(context, argument.path) : MakeOne(context, argument);
  });
}

Victim EmptyFolder(PathIndex& index, const std::string& path) {
  Victim victim{path, index.FindFolder(path)};
  if (!index.Children(path).empty()) throw ServiceFailure(path, AERROR::DIR_NOT_EMPTY, {});
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
  throw HostError(ExitCode::kNotEmpty, path +
                                           ": the folder holds names that no listing "
                                           "shows; rm -r deletes them too");
}

ExitCode RunRmdir(Context& context, const RmdirOptions& options) {
  std::vector<Victim> victims;
  for (const std::string& path : options.paths) {
    const PathArgument argument(path);
    CheckDeletable(argument);
    victims.push_back(EmptyFolder(context.index(), argument.path));
  }
  ConfirmDeletion(victims, {victims.size()}, options.yes, context.index());
  return ForEach("rmdir", victims.size(),
                 [&](std::size_t at) { RemoveOne(context, victims[at].path); });
}

}  // namespace

void AddFolderCommands(CLI::App& app, Selected& selected) {
  auto mkdir_options = std::make_shared<MkdirOptions>();
  CLI::App* mkdir = app.add_subcommand("mkdir", "Make folders; /NAME makes a private bucket");
  mkdir->add_flag("-p,--parents", mkdir_options->parents,
                  "Make what is missing on the way, and accept what is there");
  mkdir->add_option("PATH", mkdir_options->paths)->required();
  Choose(mkdir, selected, mkdir_options, RunMkdir);

  auto rmdir_options = std::make_shared<RmdirOptions>();
  CLI::App* rmdir = app.add_subcommand("rmdir", "Delete empty folders and buckets");
  rmdir->footer(
      "Only what keeps an empty folder is deleted: hidden files do not count and stay, as does\n"
      "what others store in the folder meanwhile. A bucket that has hidden files stays.");
  rmdir->add_flag("-y,--yes", rmdir_options->yes, "Do not ask before deleting several");
  rmdir->add_option("PATH", rmdir_options->paths)->required();
  Choose(rmdir, selected, rmdir_options, RunRmdir);
}

}  // namespace b2drive::cli
