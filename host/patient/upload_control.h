#pragma once

#include <algorithm>
#include <cstdint>

#include "host/common/thread_safety.h"
#include "host/plugin/transfers.h"

namespace b2drive {

// Large files that an upload began and did not finish. The service keeps their parts, and counts
// them, until someone cancels them there.
struct Unfinished {
  int files = 0;
  std::uint64_t bytes = 0;  // at most
};

// Lets another thread give an upload up, and tells what it left behind. Thread-safe.
class UploadControl {
 public:
  // `left` is what earlier uploads of the same file left behind.
  explicit UploadControl(const Unfinished& left = {}) : unfinished_(left) {}

  void GiveUp() {
    Lock lock(mutex_);
    given_up_ = true;
    if (running_ != nullptr) running_->state().state = TRANSFER_CANCELED;
  }
  bool given_up() const {
    Lock lock(mutex_);
    return given_up_;
  }

  // An attempt began `files` large files, and sent so many bytes to each of them at most.
  void NoteAttempt(int files, std::uint64_t bytes) {
    Lock lock(mutex_);
    unfinished_.files += files;
    unfinished_.bytes += static_cast<std::uint64_t>(files) * bytes;
  }
  // One of them, of this attempt or of an earlier one, is the file now.
  void NoteFinished(std::uint64_t bytes) {
    Lock lock(mutex_);
    unfinished_.files = std::max(unfinished_.files - 1, 0);
    unfinished_.bytes -= std::min(unfinished_.bytes, bytes);
    if (unfinished_.files == 0) unfinished_ = {};
  }
  Unfinished unfinished() const {
    Lock lock(mutex_);
    return unfinished_;
  }

  // Whether a large file was ever begun, which stays if the program ends now.
  void NoteBegun() {
    Lock lock(mutex_);
    begun_ = true;
  }
  bool begun() const {
    Lock lock(mutex_);
    return begun_;
  }

  // While the object lives, `transfer` is what GiveUp ends.
  class Attached {
   public:
    Attached(UploadControl& control, const ActiveTransfer& transfer) : control_(control) {
      Lock lock(control_.mutex_);
      control_.running_ = &transfer;
      if (control_.given_up_) transfer.state().state = TRANSFER_CANCELED;
    }
    ~Attached() {
      Lock lock(control_.mutex_);
      control_.running_ = nullptr;
    }
    Attached(const Attached&) = delete;
    Attached& operator=(const Attached&) = delete;

   private:
    UploadControl& control_;
  };

 private:
  mutable Mutex mutex_;
  const ActiveTransfer* running_ B2_GUARDED_BY(mutex_) = nullptr;
  bool given_up_ B2_GUARDED_BY(mutex_) = false;
  bool begun_ B2_GUARDED_BY(mutex_) = false;
  Unfinished unfinished_ B2_GUARDED_BY(mutex_);
};

}  // namespace b2drive
