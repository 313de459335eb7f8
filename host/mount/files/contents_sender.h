#pragma once

#include <memory>
#include <optional>
#include <string>

#include "host/common/fs_error.h"
#include "host/common/thread_safety.h"
#include "host/mount/files/delay.h"
#include "host/mount/files/pending_contents.h"
#include "host/mount/files/stored_file.h"
#include "host/patient/upload_control.h"

namespace b2drive::mount {

// Sends what one file has pending, and remembers how it went. Thread-safe, but for Send, which is
// for one thread at a time. All throw FsError.
class ContentsSender {
 public:
  // `file` is only handed on to FileServices::redirected.
  ContentsSender(FileServices& services, PendingContents& pending, StoredFile& stored,
                 SharedFile& file)
      : services_(services), pending_(pending), stored_(stored), file_(file) {}

  // Returns when the service holds what is sealed; false when nothing is.
  bool Send(int retries);
  // Ends a Send that runs.
  void GiveUp();

  // The last failure, if what failed still waits.
  std::optional<FsError> Failure() const;
  std::optional<Delay> Waiting() const;

 private:
  class Attempt;

  void SendOnce(const SpoolPtr& contents, UploadControl& control, int retries);
  bool IsThere(const SpoolPtr& contents);
  void GoElsewhere();
  void NoteSent(const SpoolPtr& contents, const Entry& entry);
  void NoteNotSent(const SpoolPtr& contents, const FsError& error);
  void CountUnfinished(const Unfinished& more);

  FileServices& services_;
  PendingContents& pending_;
  StoredFile& stored_;
  SharedFile& file_;
  mutable Mutex mutex_;
  std::shared_ptr<UploadControl> running_ B2_GUARDED_BY(mutex_);
  int failures_ B2_GUARDED_BY(mutex_) = 0;
  std::optional<FsError> failure_ B2_GUARDED_BY(mutex_);
  Unfinished unfinished_ B2_GUARDED_BY(mutex_);
};

}  // namespace b2drive::mount
