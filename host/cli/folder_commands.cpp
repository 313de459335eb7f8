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

void MakeOne(Context& context, const RemotePath& path) {
  PathIndex& index = context.index();
  if (auto found = index.Lookup(path)) {
    throw HostError(ExitCode::kExists,
                    path.Text() + ": exists already, a " + (found->folder ? "folder" : "file"));
  }
  Entry parent = index.FindFolder(path.Parent());
  CallForBucket(path,
                "a bucket's name has 6 to 50 letters, digits and -, and no other account may have "
                "a bucket of that name",
                [&] { context.storage().MakeFolder(parent, path); });
  index.Forget(path.Parent());
}

void MakeWithParents(Context& context, const RemotePath& path) {
  RemotePath walked;
  for (const std::string& name : path.names()) {
    walked = walked.Child(name);
    auto found = context.index().Lookup(RemotePath(walked.Text() + "/"));
    if (!found) MakeOne(context, walked);
  }
}

ExitCode RunMkdir(Context& context, const MkdirOptions& options) {
  return ForEach("mkdir", options.paths.size(), [&](std::size_t at) {
    RemotePath path(options.paths[at]);
    options.parents ? MakeWithParents(context, path) : MakeOne(context, path);
  });
}

Victim EmptyFolder(PathIndex& index, const RemotePath& path) {
  CheckDeletable(path);
  Victim victim{path, index.FindFolder(path)};
  if (!index.Children(path)->empty()) throw ServiceFailure(path.Text(), AERROR::DIR_NOT_EMPTY, {});
  return victim;
}

// Takes only what keeps the folder: what came into it since it was looked at stays.
void RemoveOne(Context& context, const RemotePath& path) {
  context.index().Forget(path);
  Victim victim = EmptyFolder(context.index(), path);
  if (path.IsBucket()) return DeleteFolder(context.drive(), victim);
  if (context.storage().RemoveMarker(victim.entry, path)) return;
  context.index().Forget(path.Parent());
  context.index().FindFolder(path);
  throw HostError(ExitCode::kNotEmpty, path.Text() +
                                           ": the folder holds names that no listing "
                                           "shows; rm -r deletes them too");
}

ExitCode RunRmdir(Context& context, const RmdirOptions& options) {
  std::vector<Victim> victims;
  for (const std::string& path : options.paths) {
    victims.push_back(EmptyFolder(context.index(), RemotePath(path)));
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
