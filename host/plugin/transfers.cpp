#include "host/plugin/transfers.h"

#include "host/common/errors.h"

namespace b2drive {

bool Transfers::Cancel() {
  Lock lock(mutex_);
  canceled_ = true;
  const bool waited = pauses_.Cut();
  for (const auto& transfer : active_) transfer->state = TRANSFER_CANCELED;
  return waited || !active_.empty();
}

std::int64_t Transfers::BytesDone() const {
  Lock lock(mutex_);
  std::int64_t done = finished_bytes_;
  for (const auto& transfer : active_) done += transfer->offset;
  return done;
}

ActiveTransfer::ActiveTransfer(Transfers& transfers, const std::string& subject)
    : transfers_(transfers) {
  Lock lock(transfers_.mutex_);
  if (transfers_.canceled_) throw Interrupted(subject);
  transfers_.active_.insert(handle_->transfer);
}

ActiveTransfer::~ActiveTransfer() {
  Lock lock(transfers_.mutex_);
  transfers_.active_.erase(handle_->transfer);
  transfers_.finished_bytes_ += handle_->transfer->offset;
}

std::size_t ActiveTransfer::AwaitTurn(std::size_t wanted) const {
  const std::size_t granted = transfers_.limit_.Take(wanted, transfers_.pauses_);
  return state().state >= TRANSFER_CANCELED ? 0 : granted;
}

}  // namespace b2drive
