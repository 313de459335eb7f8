#include "host/transfer/sync_book.h"

#include "host/common/errors.h"

namespace b2drive {

std::optional<SyncedFile> SyncBook::Find(const std::string& path) const {
  Lock lock(mutex_);
  const auto found = records_.find(path);
  return found == records_.end() ? std::nullopt : std::optional(found->second);
}

void SyncBook::Record(const std::string& path, SyncedFile file) {
  Lock lock(mutex_);
  records_.insert_or_assign(path, std::move(file));
  changed_ = true;
  SaveSometimes();
}

void SyncBook::Forget(const std::string& path) {
  Lock lock(mutex_);
  changed_ = records_.erase(path) > 0 || changed_;
}

void SyncBook::Shrink(const std::function<bool(const std::string&)>& is_needed) {
  Lock lock(mutex_);
  changed_ |= std::erase_if(records_, [&](const auto& item) { return !is_needed(item.first); }) > 0;
}

// Saving takes a twentieth of the time at most, however much there is to remember. When it fails,
// the last time will tell.
void SyncBook::SaveSometimes() {
  constexpr int kShare = 20;
  constexpr auto kAtLeast = std::chrono::seconds(1);
  const Clock::time_point start = Clock::now();
  if (state_ == nullptr || start < next_save_) return;
  try {
    state_->Save(records_);
    changed_ = false;
  } catch (const HostError&) {
  }
  const Clock::time_point end = Clock::now();
  next_save_ = end + kAtLeast + (end - start) * kShare;
}

void SyncBook::Save() {
  Lock lock(mutex_);
  if (state_ == nullptr || !changed_) return;
  state_->Save(records_);
  changed_ = false;
}

}  // namespace b2drive
