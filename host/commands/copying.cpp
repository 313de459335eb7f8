#include "host/commands/copying.h"

#include <map>
#include <optional>

#include "host/commands/tree_progress.h"
#include "host/common/name_rules.h"
#include "host/transfer/server_copy.h"

namespace b2drive::cli {
namespace {

struct CopyOptions {
  bool move = false;
  bool recursive = false;
  bool exact_target = false;       // the target is the new name also where it is a folder
  std::vector<std::string> paths;  // the sources, then the target
};

constexpr char kDetails[] =
    "Into the folder TARGET, or a single one under the name TARGET. The service copies; no byte\n"
    "comes through this machine. Time, type and information go with a file. Where a file has the\n"
    "name already, the new one becomes its latest version.";
constexpr char kMoveDetails[] =
    "\nThen the old name is deleted with its older versions, unless it got a newer one meanwhile.\n"
    "A folder moves file by file, several at once: when that is interrupted, the same again with\n"
    "-T goes on with the rest. Hidden files stay.";

struct Target {
  std::string path;
  bool into = false;  // a folder that sources go into under their own names
};

Target FindTarget(PathIndex& index, const CopyOptions& options) {
  const PathArgument argument(options.paths.back());
  const auto found = index.Lookup(argument);
  const bool several = options.paths.size() > 2;
  const bool into = several || argument.asks_for_folder || (found && found->folder);
  if (into && !(options.exact_target && !several)) {
    if (IsRoot(argument.path)) {
      throw HostError(ExitCode::kWrongKind, "/", "holds buckets only; name one: /BUCKET/...");
    }
    index.FindFolder(argument.path);
    return {argument.path, true};
  }
  if (IsBucket(argument.path) && !found) {
    throw HostError(ExitCode::kNotFound, argument.path, "no such bucket; see mkdir");
  }
  index.FindFolder(ParentOf(argument.path));
  return {argument.path, false};
}

// One would be under the other, as an older version of it.
void RefuseSameNames(const CopyOptions& options, const Target& to) {
  std::map<std::string, std::string> sources;
  for (std::size_t at = 0; to.into && at + 1 < options.paths.size(); ++at) {
    const std::string path = PathArgument(options.paths[at]).path;
    const auto [first, added] = sources.emplace(NameOf(path), path);
    if (!added) {
      throw HostError(ExitCode::kUsage, path, "has the same last name as " + first->second);
    }
  }
}

// `there` is what has the name `target`, if anything.
void RequirePossible(const Entry& source, const std::string& path, const std::string& target,
                     const std::optional<Entry>& there, const CopyOptions& options) {
  CheckName(target);
  if (target == path) throw HostError(ExitCode::kUsage, path, "that is the same name");
  if ((path + "/").starts_with(target + "/")) {
    throw HostError(ExitCode::kUsage, path, "would go over a folder that it is in");
  }
  if (there && there->folder != source.folder) {
    throw HostError(ExitCode::kWrongKind, target,
                    there->folder ? "is a folder, and what comes is a file"
                                  : "is a file, and what comes is a folder");
  }
  if (!source.folder) return;
  if (!options.recursive && !options.move) {
    throw HostError(ExitCode::kWrongKind, path, "is a folder; use cp -r");
  }
  if (options.move && IsBucket(path)) {
    throw HostError(ExitCode::kWrongKind, path, "is a bucket, which keeps its name");
  }
  if ((target + "/").starts_with(path + "/")) {
    throw HostError(ExitCode::kUsage, path, "would go into itself");
  }
}

ExitCode CopyFolder(Context& context, ServerCopy& copy, const Entry& folder,
                    const std::string& path, const std::string& target) {
  ProgressBar bar(context.transfers(), NameOf(path), 0, 0);
  return copy.Folder(context.transfers(), folder, path, target, CountedBy(bar));
}

ExitCode Run(Context& context, const CopyOptions& options) {
  context.RequireOwnPlugin();
  context.WantDetails();
  context.changes().Expect();
  PathIndex& index = context.index();
  const Target to = FindTarget(index, options);
  RefuseSameNames(options, to);
  ServerCopy copy(context.drive(), index, context.changes(), options.move);
  ExitCode partly = ExitCode::kSuccess;
  const ExitCode code = ForEach(copy.name(), options.paths.size() - 1, [&](std::size_t at) {
    const PathArgument argument(options.paths[at]);
    const Entry source = index.Find(argument);
    const std::string target = to.into ? Join(to.path, NameOf(argument.path)) : to.path;
    RequirePossible(source, argument.path, target, index.Lookup(target), options);
    if (!source.folder) {
      copy.File(source, argument.path, target);
    } else if (CopyFolder(context, copy, source, argument.path, target) != ExitCode::kSuccess) {
      partly = ExitCode::kPartly;
    }
    index.ForgetAll();
  });
  return code == ExitCode::kSuccess ? partly : code;
}

}  // namespace

void AddCopying(CLI::App& app, Selected& selected, bool move) {
  auto options = std::make_shared<CopyOptions>();
  options->move = move;
  CLI::App* command =
      move ? app.add_subcommand("mv", "Move or rename files and folders on the drive")
           : app.add_subcommand("cp", "Copy files and folders on the drive");
  command->footer(std::string(kDetails) + (move ? kMoveDetails : ""));
  if (!move) command->add_flag("-r,--recursive", options->recursive, "Copy folders, too");
  command->add_flag("-T,--no-target-directory", options->exact_target,
                    "TARGET is the new name, also where there is a folder of that name");
  command->add_option("PATH... TARGET", options->paths)->required()->expected(2, 1 << 20);
  Choose(command, selected, options, Run);
}

}  // namespace b2drive::cli
