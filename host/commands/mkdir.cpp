#include "host/commands/commands.h"

namespace b2drive::cli {
namespace {

struct MkdirOptions {
  bool parents = false;
  std::vector<std::string> paths;
};

void MakeOne(Context& context, const PathArgument& argument) {
  PathIndex& index = context.index();
  const std::string& path = argument.path;
  if (auto found = index.Lookup(argument)) {
    throw HostError(ExitCode::kExists, path,
                    std::string("exists already, a ") + (found->folder ? "folder" : "file"));
  }
  Entry parent = index.FindFolder(ParentOf(path));
  CallForBucket(path,
                "a bucket's name has 6 to 50 letters, digits and -, and no other account may have "
                "a bucket of that name",
                [&] {
                  const Entry made = context.storage().MakeFolder(parent, path);
                  context.changes().Tell({"mkdir", path, "", std::nullopt, made.id});
                });
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
  context.changes().Expect();
  return ForEach("mkdir", options.paths.size(), [&](std::size_t at) {
    const PathArgument argument(options.paths[at]);
    options.parents ? MakeWithParents(context, argument.path) : MakeOne(context, argument);
  });
}

}  // namespace

void AddMkdirCommand(CLI::App& app, Selected& selected) {
  auto options = std::make_shared<MkdirOptions>();
  CLI::App* mkdir = app.add_subcommand("mkdir", "Make folders; /NAME makes a private bucket");
  mkdir->add_flag("-p,--parents", options->parents,
                  "Make what is missing on the way, and accept what is there");
  mkdir->add_option("PATH", options->paths)->required();
  Choose(mkdir, selected, options, RunMkdir);
}

}  // namespace b2drive::cli
