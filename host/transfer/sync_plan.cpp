#include "host/transfer/sync_plan.h"

#include <algorithm>
#include <climits>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "base/numbers.h"
#include "host/common/name_rules.h"
#include "host/common/path.h"
#include "host/local/local_folders.h"
#include "host/transfer/sync_sides.h"

namespace b2drive {
namespace {

using Kind = SyncNode::Kind;

// The service's time has no fractions of a second: within one second either may be the later one.
bool MayBeNewer(const timespec& local, const timespec& stored) {
  return local.tv_sec > stored.tv_sec || (local.tv_sec == stored.tv_sec && local.tv_nsec > 0);
}
bool MayBeOlder(const timespec& local, const timespec& stored) {
  return local.tv_sec < stored.tv_sec || (local.tv_sec == stored.tv_sec && local.tv_nsec > 0);
}

bool IsAsSynced(const SyncedFile& synced, const LocalItem& local, const Entry& stored) {
  return synced.id == stored.id && synced.size == local.size &&
         synced.modified.tv_sec == local.modified.tv_sec &&
         synced.modified.tv_nsec == local.modified.tv_nsec;
}

class Planner {
 public:
  explicit Planner(const SyncTask& task) : task_(task) {}

  SyncPlan Run() {
    for (const SyncNode& node : source_.nodes()) Visit(node);
    plan_.target_files = target_.files();
    if (task_.delete_others) PlanDeletions();
    return std::move(plan_);
  }

 private:
  bool up() const { return task_.direction == SyncDirection::kUp; }
  std::string LocalPath(const SyncNode& node) const;
  std::string RemotePath(const SyncNode& node) const { return Join(task_.remote_root, node.path); }
  bool IsIn(const std::unordered_set<std::string_view>& folders, const SyncNode& node) const {
    return node.path.find('/') != std::string_view::npos && folders.contains(FolderIn(node.path));
  }

  void Visit(const SyncNode& node);
  void Plan(const SyncNode& node);
  bool IsPossible(const SyncNode& node);
  void CheckLocal(const SyncNode& node) const;
  void Refuse(const SyncNode& node, const HostError& error);
  bool FindsRoom(const SyncNode& node);
  bool IsFolderMissing(const SyncNode& node) const;
  bool Differs(SyncAction& action) const;
  void PlanDeletions();

  const SyncTask& task_;
  const SyncSide local_{task_.local};
  const SyncSide remote_{task_.remote};
  const SyncSide& source_ = up() ? local_ : remote_;
  const SyncSide& target_ = up() ? remote_ : local_;
  SyncPlan plan_;
  std::unordered_set<std::string_view> left_out_;  // with what is in them
  std::unordered_set<std::string_view> waiting_;   // for a deletion, with what is in them
};

std::string Planner::LocalPath(const SyncNode& node) const {
  return task_.local_root + "/" + std::string(node.path);
}

void Planner::Visit(const SyncNode& node) {
  if (IsIn(left_out_, node)) {
    left_out_.insert(node.path);
  } else if (node.kind == Kind::kOther) {
    plan_.notes.push_back(LocalPath(node) + ": left out, neither a file nor a folder");
    left_out_.insert(node.path);
  } else if (IsPossible(node)) {
    if (IsIn(waiting_, node)) waiting_.insert(node.path);
    Plan(node);
  }
}

void Planner::Plan(const SyncNode& node) {
  const bool is_folder = node.kind == Kind::kFolder;
  if ((is_folder && !IsFolderMissing(node)) || !FindsRoom(node)) return;
  SyncAction action{is_folder ? SyncAction::Kind::kMakeFolder : SyncAction::Kind::kSend,
                    std::string(node.path), node.local, node.remote};
  const SyncSide::Place place = target_.At(node.path);
  if (const SyncNode* const old = is_folder ? place.folder : place.file) {
    if (up()) action.remote = old->remote;
    if (!up()) action.local = old->local;
    if (!is_folder && !Differs(action)) return;
  }
  const bool waits = waiting_.contains(node.path);
  (waits ? plan_.after_deletions : plan_.changes).push_back(std::move(action));
}

bool Planner::IsPossible(const SyncNode& node) {
  try {
    up() ? CheckName(RemotePath(node)) : CheckLocal(node);
    return true;
  } catch (const HostError& error) {
    Refuse(node, error);
    return false;
  }
}

void Planner::CheckLocal(const SyncNode& node) const {
  const char* why = WhyNoName(node.remote->entry.name);
  if (why == nullptr && LocalPath(node).size() >= PATH_MAX) why = "the path is too long here";
  if (why == nullptr && node.kind == Kind::kFile && source_.At(node.path).folder != nullptr) {
    why = "a folder has the same name";
  }
  if (why != nullptr) throw HostError(ExitCode::kLocalFile, RemotePath(node), why);
}

void Planner::Refuse(const SyncNode& node, const HostError& error) {
  plan_.refusals.push_back(error);
  if (node.kind == Kind::kFolder) left_out_.insert(node.path);
}

// Here a name is one thing. On the drive it may be a file and a folder.
bool Planner::FindsRoom(const SyncNode& node) {
  const SyncSide::Place place = target_.At(node.path);
  const SyncNode* const taken = node.kind == Kind::kFolder ? place.file : place.folder;
  if (up() || (taken == nullptr && place.other == nullptr)) return true;
  if (place.other == nullptr && task_.delete_others) {
    waiting_.insert(node.path);
    return true;
  }
  const std::string kind = node.kind == Kind::kFolder ? "folder" : "file";
  const std::string other_way = place.other == nullptr ? ", or use --delete" : "";
  Refuse(node, HostError(ExitCode::kWrongKind, LocalPath(node),
                         "is not a " + kind + " as on the drive; remove it" + other_way));
  return false;
}

// The drive has folders by what is in them, and a marker keeps an empty one.
bool Planner::IsFolderMissing(const SyncNode& node) const {
  const SyncNode* const there = target_.At(node.path).folder;
  if (!up()) return there == nullptr;
  if (source_.IsFilled(node.path)) return false;
  return there == nullptr || (task_.delete_others && target_.IsFilled(node.path));
}

bool Planner::Differs(SyncAction& action) const {
  const Entry& stored = action.remote->entry;
  if (!task_.checksum) {
    const auto synced = task_.records.find(action.path);
    if (synced != task_.records.end()) return !IsAsSynced(synced->second, *action.local, stored);
  }
  if (action.local->size != stored.size) return true;
  action.compare = task_.checksum;
  if (action.compare) return true;
  const timespec& modified = action.local->modified;
  return up() ? MayBeNewer(modified, stored.modified) : MayBeOlder(modified, stored.modified);
}

void Planner::PlanDeletions() {
  for (const SyncNode& node : target_.nodes()) {
    if (IsIn(left_out_, node)) left_out_.insert(node.path);
    const bool can_go =
        node.kind != Kind::kOther && !node.path.empty() && !node.path.ends_with('/');
    if (!can_go || left_out_.contains(node.path)) continue;
    const bool is_folder = node.kind == Kind::kFolder;
    const SyncSide::Place place = source_.At(node.path);
    if ((is_folder ? place.folder : place.file) != nullptr) continue;
    plan_.deleted_files += is_folder ? 0 : 1;
    plan_.deletions.push_back(
        {is_folder ? SyncAction::Kind::kDeleteFolder : SyncAction::Kind::kDeleteFile,
         std::string(node.path), node.local, node.remote});
  }
  std::ranges::reverse(plan_.deletions);
}

}  // namespace

SyncPlan PlanSync(const SyncTask& task) { return Planner(task).Run(); }

DeletionLimit DeletionLimit::Parse(const std::string& text) {
  const bool percent = text.ends_with('%');
  const auto number =
      base::ParseNumber<std::size_t>(std::string_view(text).substr(0, text.size() - percent));
  if (number && (!percent || *number <= 100)) return {*number, percent};
  throw HostError(ExitCode::kUsage, "--max-delete " + text + ": give a number, or a share as 30%");
}

bool DeletionLimit::Allows(std::size_t deleted, std::size_t of) const {
  return percent ? deleted * 100 <= number * of : deleted <= number;
}

}  // namespace b2drive
