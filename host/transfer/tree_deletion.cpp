#include "host/transfer/tree_deletion.h"

#include <optional>
#include <vector>

#include "host/common/path.h"

namespace b2drive {
namespace {

constexpr std::size_t kDeletions = 8;  // at once

}  // namespace

void DeleteStoredFile(PatientDrive& drive, PathIndex& index, const Entry& now,
                      const std::string& path) {
  drive.DeleteFile(now, path, [&]() -> std::optional<Entry> {
    index.Forget(ParentOf(path));
    const auto left = index.Lookup(path);
    return left && !left->folder ? left : std::nullopt;
  });
}

ExitCode TreeDeletion::Run(const Entry& folder, const std::string& path) {
  Crew crew(transfers_, "rm", hides_ ? "files were hidden" : "files were deleted", 0, kDeletions);
  bool all_found = true;
  try {
    WalkRemoteTree(drive_, folder, path, filter_,
                   [&](const RemoteItem& item) { Visit(item, path, crew); });
  } catch (const HostError& error) {
    all_found = false;
    crew.Fail(error);
  }
  const ExitCode code = crew.Finish();
  if (!all_found || !filter_.empty()) return code;
  if (IsBucket(path)) Keep("");
  const ExitCode rest = DeleteFolders(folder, path);
  return code == ExitCode::kSuccess ? rest : code;
}

void TreeDeletion::Visit(const RemoteItem& item, const std::string& path, Crew& crew) {
  if (transfers_.canceled()) throw Interrupted(path);
  if (item.entry.folder) {
    // Of an empty name the library would make its parent's identifier.
    if (!item.entry.name.empty()) folders_.insert(item.path);
    return;
  }
  crew.Expect(1);
  watch_.found(item.entry.size);
  crew.Run([this, item, full = Join(path, item.path)] {
    const std::shared_ptr<void> in_work = watch_.begins(item.entry.name);
    try {
      DeleteStoredFile(drive_, index_, item.entry, full);
      changes_.Tell({action(), full, "", item.entry.size, item.entry.id});
    } catch (...) {
      Keep(FolderIn(item.path));
      throw;
    }
  });
}

void RequireEmptied(PatientDrive& drive, const Entry& folder, const std::string& path) {
  WalkRemoteTree(drive, folder, path, {}, [&](const RemoteItem& item) {
    if (item.entry.folder) return;
    throw HostError(ExitCode::kNotEmpty, Join(path, item.path),
                    "came meanwhile; it and its folders stay");
  });
}

void TreeDeletion::Keep(std::string_view folder) {
  Lock lock(mutex_);
  while (kept_.emplace(folder).second && !folder.empty()) folder = FolderIn(folder);
}

// Each that goes as a whole and stands in one that does not.
ExitCode TreeDeletion::DeleteFolders(const Entry& folder, const std::string& path) {
  std::vector<std::string> whole;
  {
    Lock lock(mutex_);
    for (const std::string& inner : folders_) {
      if (!kept_.contains(inner) && kept_.contains(FolderIn(inner))) whole.push_back(inner);
    }
  }
  Crew crew(transfers_, "rm", hides_ ? "folders were hidden" : "folders were deleted", whole.size(),
            kDeletions);
  for (const std::string& inner : whole) {
    crew.Run([&] {
      const std::string full = Join(path, inner);
      const Entry entry{NameOf(full), Join(folder.id, inner), true, 0, {}};
      RequireEmptied(drive_, entry, full);
      drive_.DeleteFolder(entry, full);
      changes_.Tell({action(), full, "", std::nullopt, entry.id});
    });
  }
  return crew.Finish();
}

}  // namespace b2drive
