#include <algorithm>

#include "host/commands/commands.h"
#include "host/commands/deletion.h"
#include "host/plugin/service_failure.h"

namespace b2drive::cli {
namespace {

struct RmOptions {
  bool recursive = false;
  bool yes = false;
  bool exact_delete_supported = false;
  std::vector<std::string> paths;
};

constexpr char kDetails[] =
    "All versions of a file go, and with a folder also its hidden files. When one of the\n"
    "paths is wrong nothing is deleted. A file that got a newer version while rm asked stays.\n"
    "Names with an empty part, such as a//b, cannot be given: rm -r a deletes them. Those that\n"
    "begin with a slash stay, and their bucket with them.\n"
    "Some plug-ins delete with a file every name that begins with its name: with a also\n"
    "a.bak. The one that belongs to b2drive does not. With another one (--plugin) rm refuses\n"
    "when it sees such names (exit code 15); hidden ones it cannot see.";

Victim ChooseVictim(PathIndex& index, const PathArgument& argument, bool recursive) {
  CheckDeletable(argument);
  Victim victim{argument.path, index.Find(argument)};
  if (victim.entry.folder && !recursive) {
    throw HostError(ExitCode::kWrongKind,
                    argument.path + ": is a folder; use rm -r, or rmdir when it is empty");
  }
  return victim;
}

// A plug-in does not tell whether it knows the option that makes deletion exact.
void RefuseLongerNames(PathIndex& index, const Victim& victim) {
  if (victim.entry.folder) return;
  const auto names = LongerNames(index, victim.path);
  if (names.empty()) return;
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
  throw HostError(ExitCode::kWouldDeleteMore,
                  victim.path + ": this plug-in could delete other names too: " + text +
                      "; if it deletes exactly, say --exact-delete-supported");
}

// All versions of a file; `now` is the latest one.
void DeleteFile(Context& context, const Entry& now, const std::string& path) {
  context.drive().DeleteFile(now, path, [&]() -> std::optional<Entry> {
    context.index().Forget(ParentOf(path));
    const auto left = context.index().Lookup(path);
    return left && !left->folder ? left : std::nullopt;
  });
}

void DeleteOneFile(Context& context, const Victim& victim) {
  Entry now = context.index().Find(victim.path);
  if (now.id != victim.entry.id) {
    throw ServiceFailure(victim.path, AERROR::SHARING_VIOLATION, {});
  }
  DeleteFile(context, now, victim.path);
}

void EmptyBucket(Context& context, const std::string& bucket) {
  const Listing children = context.index().Children(bucket);
  // The identifier of such a folder would be the bucket's.
  if (std::ranges::any_of(children, [](const Entry& child) { return child.name.empty(); })) {
    throw HostError(ExitCode::kFailed, bucket +
                                           ": holds names that begin with a slash, which cannot be "
                                           "deleted here; nothing in it was deleted");
  }
  for (const Entry& child : children) {
    if (child.folder) {
      DeleteFolder(context.drive(), {Join(bucket, child.name), child});
    } else {
      DeleteFile(context, child, Join(bucket, child.name));
    }
  }
}

void DeleteVictim(Context& context, const Victim& victim) {
  const auto& [path, entry] = victim;
  if (!entry.folder) {
    DeleteOneFile(context, victim);
    return context.changes().Tell({"rm", path, "", entry.size, entry.id});
  }
  if (IsBucket(path)) EmptyBucket(context, path);
  DeleteFolder(context.drive(), victim);
  context.changes().Tell({"rm", path, "", std::nullopt, entry.id});
}

ExitCode RunRm(Context& context, const RmOptions& options) {
  context.changes().Expect();
  PathIndex& index = context.index();
  bool exact = context.uses_shipped_plugin() || options.exact_delete_supported;
  std::vector<Victim> victims;
  for (const std::string& path : options.paths) {
    victims.push_back(ChooseVictim(index, PathArgument(path), options.recursive));
    if (!exact) RefuseLongerNames(index, victims.back());
  }
  Amount amount;
  if (!options.yes) {
    for (const Victim& victim : victims) Count(index, victim, amount);
  }
  ConfirmDeletion(victims, amount, options.yes, index);
  return ForEach("rm", victims.size(), [&](std::size_t at) {
    if (!exact) RefuseLongerNames(index, victims[at]);
    DeleteVictim(context, victims[at]);
  });
}

}  // namespace

void AddRmCommand(CLI::App& app, Selected& selected) {
  auto options = std::make_shared<RmOptions>();
  CLI::App* rm = app.add_subcommand("rm", "Delete files, and with -r folders and buckets");
  rm->footer(kDetails);
  rm->add_flag("-r,--recursive", options->recursive, "Delete folders and buckets too");
  rm->add_flag("-y,--yes", options->yes, "Do not ask, however much it is");
  rm->add_flag("--exact-delete-supported", options->exact_delete_supported,
               "The library given with --plugin knows the option exact_delete");
  rm->add_option("PATH", options->paths)->required();
  Choose(rm, selected, options, RunRm);
}

}  // namespace b2drive::cli
