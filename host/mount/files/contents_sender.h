#pragma once

#include <cerrno>
#include <chrono>
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

// Whether the service said no, where waiting alone does not help.
inline bool IsRefusal(const FsError& failure) {
  return failure.lasting() || (failure.number() != EIO && failure.number() != ETIMEDOUT);
}

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
  // What is sealed waits from now on, so that others may store something before it is sent.
  void NoteWaiting();

  // The last failure, if what failed still waits.
  std::optional<FsError> Failure() const;
  std::optional<Delay> Waiting() const;

 private:
  class Attempt;
  using Clock = std::chrono::steady_clock;

  void SendOnce(const SpoolPtr& contents, UploadControl& control, int retries);
  bool IsThere(const SpoolPtr& contents, Clock::time_point since);
  // What stands under the name must be known from this time on; none when it need not be known:
  // what is sent within a second counts as stored when it was closed.
  std::optional<Clock::time_point> LookSince() const;
  void GoElsewhere();
  void NoteSent(const SpoolPtr& contents, const Entry& entry);
  void NoteNotSent(const SpoolPtr& contents, const FsError& error);
  Unfinished LeftBehind() const;

  FileServices& services_;
  PendingContents& pending_;
  StoredFile& stored_;
  SharedFile& file_;
  mutable Mutex mutex_;
  std::shared_ptr<UploadControl> running_ B2_GUARDED_BY(mutex_);
  std::optional<Clock::time_point> waiting_since_ B2_GUARDED_BY(mutex_);
  int failures_ B2_GUARDED_BY(mutex_) = 0;
  std::optional<FsError> failure_ B2_GUARDED_BY(mutex_);
  Unfinished unfinished_ B2_GUARDED_BY(mutex_);
};

}  // namespace b2drive::mount
