#pragma once

#include "host/cli/progress.h"
#include "host/commands/sync_trees.h"
#include "host/terminal/changes.h"
#include "host/transfer/sync_book.h"
#include "host/transfer/sync_run.h"

namespace b2drive::cli {

// An action as it is told. `book` is asked for the identifier of what was stored.
Change ToChange(const SyncAction& action, const SyncOptions& options, const SyncTrees& trees,
                const SyncBook& book);

// Shows on the progress bar which files are in work. All is borrowed.
class ShownSteps final : public SyncSteps {
 public:
  ShownSteps(SyncSteps& steps, ProgressBar& bar) : steps_(steps), bar_(bar) {}

  bool Differs(const SyncAction& action) override { return steps_.Differs(action); }
  bool Do(const SyncAction& action) override;
  bool FoldersMustBeEmpty() const override { return steps_.FoldersMustBeEmpty(); }

 private:
  SyncSteps& steps_;
  ProgressBar& bar_;
};

// The files that are to be sent.
struct SyncAmount {
  std::size_t files = 0;
  std::int64_t bytes = 0;
};
SyncAmount AmountToSend(const SyncPlan& plan, SyncDirection direction);

}  // namespace b2drive::cli
