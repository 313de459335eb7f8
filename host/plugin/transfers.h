#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <set>
#include <string>

#include "host/common/retry.h"
#include "host/common/thread_safety.h"
#include "host/plugin/rate_limit.h"
#include "protocol/records.h"

namespace b2drive {

// The transfers that run, so that a signal can cancel them, a progress bar can count them, and all
// together keep to one limit. Thread-safe.
class Transfers {
 public:
  // `limit` is in bytes a second, 0 for none.
  explicit Transfers(std::int64_t limit = 0) : limit_(limit) {}

  // Marks all as canceled, ends their pauses and lets none begin afterwards. False when none ran or
  // waited, so that nothing notices.
  bool Cancel();
  bool canceled() const { return canceled_; }

  // For waiting between the attempts of a transfer.
  Pauses& pauses() { return pauses_; }

  // Bytes moved so far, by those that ended and those that run.
  std::int64_t BytesDone() const;

 private:
  friend class ActiveTransfer;

  mutable Mutex mutex_;
  std::set<std::shared_ptr<_FS_TRANSFER>> active_ B2_GUARDED_BY(mutex_);
  std::int64_t finished_bytes_ B2_GUARDED_BY(mutex_) = 0;
  std::atomic<bool> canceled_{false};
  Pauses pauses_;
  RateLimit limit_;
};

// One transfer, counted among `transfers` as long as it lives.
class ActiveTransfer {
 public:
  // Throws kInterrupted when the transfers are canceled already; `subject` is for that message.
  ActiveTransfer(Transfers& transfers, const std::string& subject);
  ~ActiveTransfer();
  ActiveTransfer(const ActiveTransfer&) = delete;
  ActiveTransfer& operator=(const ActiveTransfer&) = delete;

  // To be handed to the plug-in. Its transfer's offset is this transfer's progress in bytes.
  const std::shared_ptr<_FS_HANDLE>& handle() const { return handle_; }
  _FS_TRANSFER& state() const { return *handle_->transfer; }

  // Waits until the limit lets up to `wanted` bytes move, and gives how many; 0 when the transfer
  // was canceled.
  std::size_t AwaitTurn(std::size_t wanted) const;

 private:
  Transfers& transfers_;
  std::shared_ptr<_FS_HANDLE> handle_ = std::make_shared<_FS_HANDLE>();
};

}  // namespace b2drive
