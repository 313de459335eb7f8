#include "host/transfer/sync_run.h"

#include <algorithm>
#include <utility>

#include "host/terminal/report.h"

namespace b2drive {

ExitCode SyncRun::Run(const SyncPlan& plan) {
  for (const std::string& note : plan.notes) Note(command_, note);
  for (const HostError& refusal : plan.refusals) Report(command_, refusal);
  ExitCode code = DoAll(plan.changes, "changes were made");
  if (!plan.refusals.empty() || !rules_.complete) code = ExitCode::kPartly;
  if (plan.deletions.empty()) return code;
  if (code == ExitCode::kSuccess) return Delete(plan);
  Note(command_, "not all could be synced; nothing was deleted");
  return code;
}

ExitCode SyncRun::Delete(const SyncPlan& plan) {
  if (!MayDelete(plan)) return ExitCode::kNotConfirmed;
  std::vector<SyncAction> folders = plan.deletions;
  const auto is_folder = [](const SyncAction& action) {
    return action.kind == SyncAction::Kind::kDeleteFolder;
  };
  const auto files = std::stable_partition(folders.begin(), folders.end(), is_folder);
  const ExitCode code = DoAll({files, folders.end()}, "files were deleted");
  folders.erase(files, folders.end());
  if (code != ExitCode::kSuccess) return code;
  const ExitCode rest = DoAll(folders, "folders were deleted");
  return rest == ExitCode::kSuccess ? DoAll(plan.after_deletions, "changes were made") : rest;
}

bool SyncRun::MayDelete(const SyncPlan& plan) const {
  if (rules_.limit.Allows(plan.deleted_files, plan.target_files)) return true;
  const std::string text = std::to_string(plan.deleted_files) + " of " +
                           std::to_string(plan.target_files) +
                           " files would be deleted, more than --max-delete allows; none was";
  Report(command_, HostError(ExitCode::kNotConfirmed, text));
  return false;
}

ExitCode SyncRun::DoAll(const std::vector<SyncAction>& actions, const char* done) {
  if (actions.empty()) return ExitCode::kSuccess;
  const bool one_by_one =
      actions.front().kind == SyncAction::Kind::kDeleteFolder && steps_.FoldersMustBeEmpty();
  Crew crew(transfers_, command_, done, actions.size(), one_by_one ? 1 : rules_.jobs);
  for (const SyncAction& action : actions) crew.Run([&] { DoOne(action); });
  return crew.Finish();
}

void SyncRun::DoOne(const SyncAction& action) {
  if (action.compare && !steps_.Differs(action)) return;
  if (rules_.dry_run || steps_.Do(action)) tell_(action);
}

}  // namespace b2drive
