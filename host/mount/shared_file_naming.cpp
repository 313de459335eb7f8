#include "host/mount/fs_error.h"
#include "host/mount/paths.h"
#include "host/mount/shared_file.h"

namespace b2drive::mount {

// What the service holds under the name; looked up if a failed upload leaves that open.
std::optional<Node> SharedFile::FindStored() {
  std::string path;
  {
    std::lock_guard lock(state_);
    if (!uncertain_) return stored_;
    path = path_;
  }
  services_.directory.Forget(ParentOf(path));
  auto found = services_.directory.Find(path);
  return found && !found->folder ? found : std::nullopt;
}

// Nothing of this file is sent any more. The caller holds state_.
void SharedFile::Abandon() {
  gone_ = true;
  dirty_ = fresh_ = settled_ = false;
  if (sealed_) Strike(sealed_);
  if (work_) Strike(work_);
  sealed_.reset();
}

void SharedFile::Unlink(bool open_elsewhere) {
  {
    std::lock_guard lock(state_);
    if (sending_) sending_->GiveUp();
  }
  std::lock_guard transfer(transfer_);
  std::optional<Node> stored = FindStored();
  const std::string name = path();
  if (stored) {
    // Deleting takes every version, so handles that stay open need the contents here.
    if (open_elsewhere) {
      SpoolPtr brought = BringSpool(UINT64_MAX);
      std::lock_guard lock(state_);
      if (!work_) work_ = std::move(brought);
    }
    DeleteStored(*stored, name);
  }
  services_.times.Remove(name);
  std::lock_guard lock(state_);
  Abandon();
}

void SharedFile::DeleteStored(const Node& stored, const std::string& name) {
  auto still_there = [&]() -> std::optional<Entry> {
    services_.directory.Forget(ParentOf(name));
    auto found = services_.directory.Find(name);
    if (!found || found->folder) return std::nullopt;
    return ToEntry(*found, name);
  };
  services_.remote.DeleteFile(ToEntry(stored, name), name, still_there);
  services_.directory.Remove(name);
  services_.reading.blocks.Forget(stored.id);
}

// The stored version itself, also where a newer work waits on top of it.
SpoolPtr SharedFile::ContentsOf(const Node& stored) {
  StoredVersion version;
  {
    std::lock_guard lock(state_);
    if (work_ && !dirty_ && !fresh_ && !sealed_) return work_;
    version = {ToEntry(stored, path_), path_};
  }
  return WithRoom(services_.reading.blocks, [&] {
    SpoolPtr spool = services_.spool.Make();
    BringInto(services_.reading, version, spool->fd(), stored.size);
    return spool;
  });
}

// The old name goes only when the service holds the new one, so nothing is lost at any moment.
void SharedFile::MoveStored(const Node& stored, const std::string& target) {
  const std::string name = path();
  SpoolPtr contents = ContentsOf(stored);
  UploadControl control;
  Node moved =
      ToNode(services_.remote.Upload(services_.directory.FolderId(ParentOf(target)), target,
                                     contents->fd(), stored.size, control, kAllRetries));
  services_.directory.Put(target, moved);
  DeleteStored(stored, name);
  std::lock_guard lock(state_);
  stored_ = moved;
  services_.times.Set(target, moved.id, modified_);
}

void SharedFile::MoveTo(const std::string& target, SharedFile* replaced) {
  std::unique_lock mine(transfer_, std::defer_lock);
  std::unique_lock<std::mutex> theirs;
  if (replaced != nullptr) {
    theirs = std::unique_lock(replaced->transfer_, std::defer_lock);
    std::lock(mine, theirs);
  } else {
    mine.lock();
  }
  std::optional<Node> stored = FindStored();
  const std::string name = path();
  if (stored) MoveStored(*stored, target);
  {
    std::lock_guard lock(state_);
    if (sealed_) services_.spool.Enter(*sealed_, target);
    if (settled_) services_.spool.Enter(*work_, target);
    path_ = target;
    uncertain_ = false;
  }
  services_.times.Remove(name);
  if (replaced == nullptr) return;
  std::lock_guard lock(replaced->state_);
  replaced->Abandon();
}

}  // namespace b2drive::mount
