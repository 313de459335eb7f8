#pragma once

#include <set>
#include <string>
#include <utility>

#include "base/thread_safety.h"

// The large files that a protocol object's uploads work on, so that none takes another's for one
// that was left behind. For any number of threads.
class Claims {
 public:
  // False when someone else has it.
  bool Add(const std::string& file_id) {
    const base::Lock lock(mutex_);
    return claimed_.insert(file_id).second;
  }
  void Remove(const std::string& file_id) {
    const base::Lock lock(mutex_);
    claimed_.erase(file_id);
  }

 private:
  base::Mutex mutex_;
  std::set<std::string> claimed_ B2_GUARDED_BY(mutex_);
};
