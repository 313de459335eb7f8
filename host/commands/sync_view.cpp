#include "host/commands/sync_view.h"

#include "host/common/path.h"
#include "host/transfer/sync_sides.h"

namespace b2drive::cli {
namespace {

using Kind = SyncAction::Kind;

const char* NameOfAction(Kind kind, bool up) {
  switch (kind) {
    case Kind::kMakeFolder:
      return "mkdir";
    case Kind::kSend:
      return up ? "put" : "get";
    case Kind::kDeleteFile:
      return "rm";
    case Kind::kDeleteFolder:
      return "rmdir";
  }
  return "";
}

std::uint64_t SizeOf(const SyncAction& action, bool local) {
  return local ? action.local->size : action.remote->entry.size;
}

}  // namespace

Change ToChange(const SyncAction& action, const SyncOptions& options, const SyncTrees& trees,
                const SyncBook& book) {
  const bool sends = action.kind == Kind::kSend;
  Change change;
  change.action = NameOfAction(action.kind, options.up());
  change.planned = options.dry_run;
  if (sends || options.up()) change.path = Join(trees.path, action.path);
  if (sends || !options.up()) change.local = (trees.local_root / action.path).string();
  // What is sent is on the source's side, what is deleted on the target's.
  if (sends || action.kind == Kind::kDeleteFile)
    change.size = SizeOf(action, sends == options.up());
  if (sends && options.up()) {
    const auto stored = book.Find(action.path);
    if (stored && !options.dry_run) change.id = stored->id;
  } else if (action.remote != nullptr) {
    change.id = action.remote->entry.id;
  }
  return change;
}

bool ShownSteps::Do(const SyncAction& action) {
  if (action.kind != Kind::kSend) return steps_.Do(action);
  const ProgressBar::File file(bar_, NameOf(action.path));
  return steps_.Do(action);
}

SyncAmount AmountToSend(const SyncPlan& plan, SyncDirection direction) {
  SyncAmount amount;
  for (const auto* const actions : {&plan.changes, &plan.after_deletions}) {
    for (const SyncAction& action : *actions) {
      if (action.kind != Kind::kSend) continue;
      ++amount.files;
      amount.bytes += static_cast<std::int64_t>(SizeOf(action, direction == SyncDirection::kUp));
    }
  }
  return amount;
}

}  // namespace b2drive::cli
