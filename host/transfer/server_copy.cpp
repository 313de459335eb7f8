#include "host/transfer/server_copy.h"

#include <utility>
#include <vector>

#include "host/common/path.h"
#include "host/terminal/interrupt.h"
#include "host/terminal/report.h"
#include "host/transfer/tree_deletion.h"

namespace b2drive {
namespace {

constexpr std::size_t kCopies = 8;                       // at once
constexpr std::uint64_t kMostInOneCall = 5'000'000'000;  // bytes

}  // namespace

Entry ServerCopy::Copy(const Entry& file, const std::string& target) {
  const InterruptCleanup at_exit([&] {
    if (file.size > kMostInOneCall) Note(name(), target + ": " + kLeftover);
  });
  const auto find_copied = [&] {
    index_.Forget(ParentOf(target));
    return index_.Lookup(target);
  };
  Entry copy = drive_.Copy(file, index_.FolderId(ParentOf(target)), target, find_copied);
  index_.Forget(ParentOf(target));
  return copy;
}

void ServerCopy::File(const Entry& file, const std::string& path, const std::string& target) {
  const Entry copy = Copy(file, target);
  try {
    if (move_) DeleteStoredFile(drive_, index_, file, path);
  } catch (const HostError& error) {
    throw error.Saying(std::string(error.what()) + "; it is copied to " + target +
                       ", and both stay");
  }
  Change change{name(), target, "", file.size, copy.id};
  change.from = path;
  changes_.Tell(change);
}

ExitCode ServerCopy::Folder(const Transfers& transfers, const Entry& folder,
                            const std::string& path, const std::string& target,
                            const TreeWatch& watch) {
  std::vector<RemoteItem> folders = {{"", folder}};
  Crew crew(transfers, name(), move_ ? "files were moved" : "files were copied", 0, kCopies);
  try {
    WalkRemoteTree(drive_, folder, path, {}, [&](RemoteItem item) {
      if (transfers.canceled()) throw Interrupted(path);
      if (item.entry.folder) {
        if (!item.entry.name.empty()) folders.push_back(std::move(item));
        return;
      }
      crew.Expect(1);
      watch.found(item.entry.size);
      crew.Run([this, item = std::move(item), &path, &target, &watch] {
        const std::shared_ptr<void> in_work = watch.begins(item.entry.name);
        File(item.entry, Join(path, item.path), Join(target, item.path));
      });
    });
  } catch (const HostError& error) {
    crew.Fail(error);
  }
  const ExitCode code = crew.Finish();
  if (code != ExitCode::kSuccess) return code;
  Crew markers(transfers, name(), "folders were done", folders.size(), kCopies);
  for (const RemoteItem& item : folders) {
    markers.Run([&] {
      const std::string below = item.path.empty() ? "" : "/" + item.path;
      Marker(item.entry, path + below, target + below);
    });
  }
  return markers.Finish();
}

void ServerCopy::Marker(const Entry& folder, const std::string& path, const std::string& target) {
  if (IsBucket(path) || !drive_.HasMarker(folder.id, path)) return;
  Storage storage(drive_);
  const std::string id = index_.FolderId(target);
  if (!IsBucket(target) && !drive_.HasMarker(id, target)) {
    storage.MakeFolder({"", index_.FolderId(ParentOf(target)), true, 0, {}}, target);
  }
  if (move_) storage.RemoveMarker(folder, path);
}

}  // namespace b2drive
