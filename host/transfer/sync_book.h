#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "host/common/thread_safety.h"
#include "host/transfer/sync_state.h"

namespace b2drive {

// The records of a run. Any number of threads may change them; they are saved from time to time, so
// that a program that is killed loses little.
class SyncBook {
 public:
  // Borrowed; without `state` nothing is saved.
  SyncBook(const SyncState* state, SyncRecords records)
      : state_(state), records_(std::move(records)) {}

  std::optional<SyncedFile> Find(const std::string& path) const;
  void Record(const std::string& path, SyncedFile file);
  void Forget(const std::string& path);
  // Forgets every path that `is_needed` is false for.
  void Shrink(const std::function<bool(const std::string&)>& is_needed);
  // Throws kLocalFile.
  void Save();

 private:
  using Clock = std::chrono::steady_clock;

  void SaveSometimes() B2_REQUIRES(mutex_);

  const SyncState* const state_;
  mutable Mutex mutex_;
  SyncRecords records_ B2_GUARDED_BY(mutex_);
  bool changed_ B2_GUARDED_BY(mutex_) = false;
  Clock::time_point next_save_ B2_GUARDED_BY(mutex_) = Clock::now() + std::chrono::seconds(1);
};

}  // namespace b2drive
