#include <cerrno>

#include "host/mount/fs_error.h"
#include "host/mount/notices.h"
#include "host/mount/paths.h"
#include "host/mount/shared_file.h"

namespace b2drive::mount {

void SharedFile::Save() {
  std::lock_guard transfer(transfer_);
  {
    std::lock_guard lock(state_);
    if (!gone_ && (dirty_ || fresh_)) Seal();
  }
  SendSealed(kAllRetries);
}

void SharedFile::SendWaiting(int retries) {
  std::lock_guard transfer(transfer_);
  {
    std::lock_guard lock(state_);
    if (!gone_ && settled_) Seal();
  }
  SendSealed(retries);
}

void SharedFile::Settle() {
  std::lock_guard transfer(transfer_);
  std::lock_guard lock(state_);
  if (!fresh_ || gone_) return;
  services_.spool.Enter(*work_, path_);
  settled_ = true;
}

void SharedFile::SealUnsaved() {
  if (!HasUnsaved()) return;
  std::lock_guard transfer(transfer_);
  std::lock_guard lock(state_);
  if (!gone_ && dirty_) Seal();
}

// The caller holds transfer_.
void SharedFile::SendSealed(int retries) {
  SpoolPtr contents;
  std::string path;
  auto control = std::make_shared<UploadControl>();
  {
    std::lock_guard lock(state_);
    contents = sealed_;
    if (gone_ || !contents) return;
    path = path_;
    sending_ = control;
  }
  try {
    const std::string parent = services_.directory.FolderId(ParentOf(path));
    Stored(
        services_.remote.Upload(parent, path, contents->fd(), contents->Size(), *control, retries),
        contents, path);
  } catch (const FsError& error) {
    NotStored(error, contents);
    throw;
  }
}

// The caller holds state_.
void SharedFile::Seal() {
  const SpoolPtr before = sealed_;
  try {
    services_.spool.Enter(*work_, path_);
  } catch (const FsError& error) {
    // Sending may still succeed, and then the entry is not missed.
    Notice(path_ + ": no journal entry, " + error.what());
  }
  sealed_ = work_;
  dirty_ = fresh_ = settled_ = false;
  failures_ = 0;
  failure_.reset();
  if (before && before != sealed_) Strike(before);
}

void SharedFile::Stored(const Entry& entry, const SpoolPtr& contents, const std::string& path) {
  Node node = ToNode(entry);
  {
    std::lock_guard lock(state_);
    Strike(contents);
    sealed_.reset();
    sending_.reset();
    failure_.reset();
    failures_ = 0;
    uncertain_ = false;
    stored_ = node;
    services_.times.Set(path, node.id, modified_);
  }
  services_.directory.Put(path, node);
}

void SharedFile::NotStored(const FsError& error, const SpoolPtr& contents) {
  std::lock_guard lock(state_);
  sending_.reset();
  ++failures_;
  failure_ = error;
  uncertain_ = true;
  try {
    services_.spool.Secure(*contents);
  } catch (const FsError& unsafe) {
    Notice(path_ + ": waits to be sent, but would not survive the machine: " + unsafe.what());
  }
}

void SharedFile::Strike(const SpoolPtr& contents) {
  try {
    services_.spool.Strike(*contents);
  } catch (const FsError& error) {
    Notice(path_ + ": " + error.what());
  }
}

}  // namespace b2drive::mount
