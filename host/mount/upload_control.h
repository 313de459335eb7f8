#pragma once

#include <mutex>

#include "host/transfers.h"

namespace b2drive::mount {

// Lets another thread give an upload up. Thread-safe.
class UploadControl {
 public:
  void GiveUp() {
    std::lock_guard lock(mutex_);
    given_up_ = true;
    if (running_ != nullptr) running_->state().state = TRANSFER_CANCELED;
  }
  bool given_up() const {
    std::lock_guard lock(mutex_);
    return given_up_;
  }

  // The transfer that is to be ended; null when none runs any more.
  void Attach(const ActiveTransfer* transfer) {
    std::lock_guard lock(mutex_);
    running_ = transfer;
    if (given_up_ && transfer != nullptr) transfer->state().state = TRANSFER_CANCELED;
  }

 private:
  mutable std::mutex mutex_;
  const ActiveTransfer* running_ = nullptr;
  bool given_up_ = false;
};

}  // namespace b2drive::mount
