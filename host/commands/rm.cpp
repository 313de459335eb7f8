#include <algorithm>
#include <set>

#include "host/cli/filter_options.h"
#include "host/commands/commands.h"
#include "host/commands/deletion.h"
#include "host/commands/tree_progress.h"
#include "host/plugin/service_failure.h"
#include "host/terminal/terminal.h"
#include "host/transfer/tree_deletion.h"

namespace b2drive::cli {
namespace {

struct RmOptions {
  bool recursive = false;
  bool yes = false;
  bool hide = false;
  bool exact_delete_supported = false;
  Filter filter;
  std::vector<std::string> paths;
};

constexpr char kDetails[] =
    "All versions of a file go, and with a folder also its hidden and unfinished files: rm asks\n"
    "before, also where the folder looks empty. When one of the\n"
    "paths is wrong nothing is deleted. A file that got a newer version while rm asked stays.\n"
    "With --include or --exclude the files go that these take, and no folder; the names that\n"
    "they are compared with begin in PATH. A folder that nothing but its files keeps is gone\n"
    "with the last of them.\n"
    "Names with an empty part, such as a//b, cannot be given: rm -r a deletes them. Those that\n"
    "begin with a slash stay, and their bucket with them.\n"
    "Some plug-ins delete with a file every name that begins with its name: with a also\n"
    "a.bak. The one that belongs to b2drive does not. With another one (--plugin) rm refuses\n"
    "when it sees such names (exit code 15); hidden ones it cannot see.";

bool DeletesExactly(Context& context, const RmOptions& options) {
  return context.uses_shipped_plugin() || options.exact_delete_supported;
}

Victim ChooseVictim(PathIndex& index, const PathArgument& argument, bool recursive, bool hide) {
  CheckDeletable(argument);
  Victim victim{argument.path, index.Find(argument)};
  if (hide && IsBucket(argument.path)) {
    throw HostError(ExitCode::kWrongKind, argument.path, "is a bucket, which cannot be hidden");
  }
  if (victim.entry.folder && !recursive) {
    throw HostError(ExitCode::kWrongKind, argument.path,
                    "is a folder; use rm -r, or rmdir when it is empty");
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
  throw HostError(ExitCode::kWouldDeleteMore, victim.path,
                  "this plug-in could delete other names too: " + text +
                      "; if it deletes exactly, say --exact-delete-supported");
}

void DeleteOneFile(Context& context, const Victim& victim, bool hide) {
  Entry now = context.index().Find(victim.path);
  if (now.id != victim.entry.id) {
    throw ServiceFailure(victim.path, AERROR::SHARING_VIOLATION, {});
  }
  DeleteStoredFile(context.drive(), context.index(), now, victim.path);
  const char* const action = hide ? "hide" : "rm";
  context.changes().Tell({action, victim.path, "", now.size, now.id});
}

// The identifier of such a folder would be the bucket's.
void RefuseNamesWithSlash(const std::string& bucket, const Listing& children) {
  if (std::ranges::any_of(children, [](const Entry& child) { return child.name.empty(); })) {
    throw HostError(ExitCode::kFailed, bucket,
                    "holds names that begin with a slash, which cannot be "
                    "deleted here; nothing in it was deleted");
  }
}

// One after another, by a plug-in that may delete others with each.
void EmptyBucket(Context& context, const std::string& bucket, const Listing& children) {
  for (const Entry& child : children) {
    const std::string path = Join(bucket, child.name);
    if (child.folder) {
      DeleteFolder(context.drive(), {path, child});
    } else {
      DeleteStoredFile(context.drive(), context.index(), child, path);
    }
  }
}

ExitCode DeleteTree(Context& context, const Victim& victim, const RmOptions& options) {
  const bool bucket = IsBucket(victim.path);
  const bool all = options.filter.empty();
  const Listing children = bucket && all ? context.index().Children(victim.path) : Listing();
  RefuseNamesWithSlash(victim.path, children);
  ExitCode code = ExitCode::kSuccess;
  if (DeletesExactly(context, options)) {
    ProgressBar bar(context.transfers(), NameOf(victim.path), 0, 0);
    TreeDeletion deletion(context.drive(), context.index(), context.transfers(), options.filter,
                          CountedBy(bar), context.changes(), options.hide);
    code = deletion.Run(victim.entry, victim.path);
  } else if (bucket) {
    EmptyBucket(context, victim.path, children);
  }
  if (all && code == ExitCode::kSuccess) {
    if (DeletesExactly(context, options) && !bucket) {
      RequireEmptied(context.drive(), victim.entry, victim.path);
    }
    DeleteFolder(context.drive(), victim);
    const char* const action = options.hide ? "hide" : "rm";
    context.changes().Tell({action, victim.path, "", std::nullopt, victim.entry.id});
  }
  return code;
}

std::vector<Victim> ChooseVictims(Context& context, const RmOptions& options) {
  const bool exact = DeletesExactly(context, options);
  if (!exact && !options.filter.empty()) {
    throw HostError(ExitCode::kWouldDeleteMore,
                    "this plug-in could delete what --include and --exclude leave out; if it "
                    "deletes exactly, say --exact-delete-supported");
  }
  std::vector<Victim> victims;
  std::set<std::pair<std::string, bool>> chosen;
  for (const std::string& path : options.paths) {
    Victim victim =
        ChooseVictim(context.index(), PathArgument(path), options.recursive, options.hide);
    if (!victim.entry.folder && !options.filter.Takes(victim.entry.name, false)) continue;
    if (!chosen.emplace(victim.path, victim.entry.folder).second) continue;
    if (!exact) RefuseLongerNames(context.index(), victim);
    victims.push_back(std::move(victim));
  }
  return victims;
}

ExitCode RunRm(Context& context, const RmOptions& options) {
  if (options.hide) context.HideOnDelete();
  context.changes().Expect();
  const std::vector<Victim> victims = ChooseVictims(context, options);
  Amount amount;
  if (!options.yes) {
    for (const Victim& victim : victims) Count(context.drive(), victim, options.filter, amount);
    const bool may_look_empty = amount.items == 1 && victims.front().entry.folder;
    if (!options.hide && context.uses_shipped_plugin() && (StdinIsTerminal() || may_look_empty)) {
      CountVersions(context, victims, options.filter, amount);
    }
  }
  ConfirmDeletion(victims, amount, options.yes, context.index(),
                  options.hide ? Deed::kHide : Deed::kDelete);
  ExitCode partly = ExitCode::kSuccess;
  const ExitCode code = ForEach("rm", victims.size(), [&](std::size_t at) {
    const Victim& victim = victims[at];
    if (!DeletesExactly(context, options)) RefuseLongerNames(context.index(), victim);
    if (!victim.entry.folder) return DeleteOneFile(context, victim, options.hide);
    if (DeleteTree(context, victim, options) != ExitCode::kSuccess) partly = ExitCode::kPartly;
  });
  return code == ExitCode::kSuccess ? partly : code;
}

}  // namespace

void AddRmCommand(CLI::App& app, Selected& selected) {
  auto options = std::make_shared<RmOptions>();
  CLI::App* rm = app.add_subcommand("rm", "Delete files, and with -r folders and buckets");
  rm->footer(kDetails);
  rm->add_flag("-r,--recursive", options->recursive, "Delete folders and buckets too");
  rm->add_flag("--hide", options->hide,
               "Hide the files: they look deleted, and all versions stay; see unhide");
  rm->add_flag("-y,--yes", options->yes, "Do not ask, however much it is");
  rm->add_flag("--exact-delete-supported", options->exact_delete_supported,
               "The library given with --plugin knows the option exact_delete");
  AddFilterOptions(rm, options->filter);
  rm->add_option("PATH", options->paths)->required();
  Choose(rm, selected, options, RunRm);
}

}  // namespace b2drive::cli
