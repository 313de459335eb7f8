#include <unordered_set>

#include "host/cli/filter_options.h"
#include "host/commands/commands.h"
#include "host/commands/sync_trees.h"
#include "host/commands/sync_view.h"
#include "host/terminal/output_style.h"
#include "host/terminal/report.h"
#include "host/transfer/sync_down.h"
#include "host/transfer/sync_up.h"

namespace b2drive::cli {
namespace {

namespace fs = std::filesystem;

constexpr char kDetails[] =
    "A file is copied when it changed on either side since it was synced last, which is\n"
    "remembered in $XDG_STATE_HOME (or ~/.local/state) in b2drive/sync: what changed on the side\n"
    "that is copied to is overwritten. What was never synced is copied when the sizes differ or\n"
    "when it is newer than the one on the other side. Folders are made, empty ones too.\n"
    "With --delete what the source has not goes, last of all, and only when all else went well "
    "and\n"
    "no more than --max-delete of the target's files would go. What a filter leaves out stays.\n"
    "Symbolic links are left out. Names that the other side cannot hold are refused, each with a\n"
    "line, and the rest goes on (exit code 16); nothing is deleted then.";

// Without links, so that one folder is one pair, whatever way leads to it.
SyncPair PairOf(Context& context, const SyncTrees& trees) {
  std::error_code error;
  const fs::path local = fs::weakly_canonical(fs::absolute(trees.local_root), error);
  if (error) throw LocalFailure(trees.local_root.string(), error.value());
  return {context.account().AccountId(), local, trees.path};
}

std::unique_ptr<SyncSteps> StepsFor(Context& context, const SyncOptions& options,
                                    const SyncTrees& trees, const LocalFolders& local,
                                    SyncBook& book) {
  PatientDrive& drive = context.drive();
  if (!options.up()) return std::make_unique<SyncDown>(drive, local, trees.path, book);
  return std::make_unique<SyncUp>(drive, context.index(), local, trees.folder, trees.path, book);
}

ExitCode CarryOut(Context& context, const SyncOptions& options, const SyncTrees& trees,
                  const SyncPlan& plan, SyncBook& book) {
  // In a folder that a dry run would make nothing is read.
  const LocalFolders local(trees.local_exists ? trees.local_root : fs::path("."));
  const auto steps = StepsFor(context, options, trees, local, book);
  const SyncAmount amount = AmountToSend(plan, options.direction);
  ProgressBar bar(context.transfers(), std::to_string(amount.files) + " files", amount.bytes,
                  amount.files);
  ShownSteps shown(*steps, bar);
  const SyncRun::Teller tell = [&](const SyncAction& action) {
    context.changes().Tell(ToChange(action, options, trees, book));
  };
  // A dry run that asks nobody tells in order.
  const std::size_t jobs = options.dry_run && !options.checksum ? 1 : options.jobs;
  const SyncRules rules{jobs, DeletionLimit::Parse(options.max_delete),
                        trees.local.failures.empty(), options.dry_run};
  return SyncRun(options.command(), context.transfers(), shown, rules, tell).Run(plan);
}

// Of what is on neither side any more nothing needs to be remembered. A filter hides what may be.
void Shrink(SyncBook& book, const SyncTrees& trees, const SyncOptions& options) {
  if (!options.filter.empty() || !trees.local.failures.empty()) return;
  std::unordered_set<std::string_view> paths;
  for (const LocalItem& item : trees.local.items) paths.insert(item.path);
  for (const RemoteItem& item : trees.remote) paths.insert(item.path);
  book.Shrink([&](const std::string& path) { return paths.contains(path); });
}

SyncPlan PlanFor(const SyncOptions& options, const SyncTrees& trees, const SyncRecords& records) {
  return PlanSync({options.direction, trees.local_root.native(), trees.path, trees.local.items,
                   trees.remote, records, options.checksum, options.delete_others});
}

ExitCode RunSync(Context& context, const SyncOptions& options) {
  DeletionLimit::Parse(options.max_delete);
  if (options.local.empty()) {
    throw HostError(ExitCode::kUsage, "LOCAL is empty; . is the current folder");
  }
  context.changes().Expect();
  SyncTrees trees = FindSyncFolders(context, options);
  SyncState state(SyncState::DefaultFolder(), PairOf(context, trees));
  if (!options.dry_run) state.Reserve();
  SyncRecords records = state.Load();
  if (!state.problem().empty() && TheOutputStyle().verbose) {
    Note(options.command(), state.problem());
  }
  ReadSyncTrees(context, options, trees);
  const SyncPlan plan = PlanFor(options, trees, records);
  SyncBook book(options.dry_run ? nullptr : &state, std::move(records));
  Shrink(book, trees, options);
  try {
    const ExitCode code = CarryOut(context, options, trees, plan, book);
    book.Save();
    return code;
  } catch (...) {
    try {
      book.Save();
    } catch (const HostError& error) {
      Report(options.command(), error);
    }
    throw;
  }
}

void AddDirection(CLI::App* sync, Selected& selected, SyncDirection direction) {
  auto options = std::make_shared<SyncOptions>();
  options->direction = direction;
  const bool up = options->up();
  CLI::App* sub = sync->add_subcommand(
      up ? "up" : "down", up ? "Make the folder PATH like the folder LOCAL of this machine"
                             : "Make the folder LOCAL of this machine like the folder PATH");
  sub->footer(kDetails);
  sub->add_flag("-n,--dry-run", options->dry_run, "Only tell what would be done");
  sub->add_flag("--delete", options->delete_others, "Delete what the source has not");
  sub->add_option("--max-delete", options->max_delete,
                  "Delete nothing when more files would go: a number, or a share of the target's")
      ->capture_default_str()
      ->type_name("N|N%");
  sub->add_flag("--checksum", options->checksum,
                "Compare the contents of files of one size instead of times. The service does "
                "not tell a checksum here: the stored files are read");
  sub->add_option("-j,--jobs", options->jobs, "Files at the same time")
      ->capture_default_str()
      ->check(CLI::Range(1, 64))
      ->type_name("N");
  if (up) {
    sub->add_flag("--exact-delete-supported", options->exact_delete_supported,
                  "The library given with --plugin knows the option exact_delete");
  }
  AddFilterOptions(sub, options->filter);
  sub->add_option(up ? "LOCAL" : "PATH", up ? options->local : options->path)->required();
  sub->add_option(up ? "PATH" : "LOCAL", up ? options->path : options->local)->required();
  sub->callback([=, &selected] {
    selected = {options->command(), [=](Context& context) { return RunSync(context, *options); }};
  });
}

}  // namespace

void AddSyncCommand(CLI::App& app, Selected& selected) {
  CLI::App* sync = app.add_subcommand("sync", "Make one of two folders like the other");
  sync->require_subcommand(1);
  AddDirection(sync, selected, SyncDirection::kUp);
  AddDirection(sync, selected, SyncDirection::kDown);
}

}  // namespace b2drive::cli
