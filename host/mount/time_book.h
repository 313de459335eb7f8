#pragma once

#include <ctime>
#include <deque>
#include <optional>
#include <string>
#include <unordered_map>

#include "host/thread_safety.h"

namespace b2drive::mount {

// Modification times that the service cannot keep, for the life of the mount; of very many files,
// those set last. A time belongs to one version of a file and goes when another one takes its
// place. Thread-safe.
class TimeBook {
 public:
  // `id` is the version's identifier, empty for a folder.
  void Set(const std::string& path, const std::string& id, timespec time) {
    Lock lock(mutex_);
    const auto [kept, added] = times_.insert_or_assign(path, Kept{id, time});
    if (added) in_order_.push_back(path);
    while (in_order_.size() > kMost) {
      times_.erase(in_order_.front());
      in_order_.pop_front();
    }
  }
  std::optional<timespec> Find(const std::string& path, const std::string& id) const {
    Lock lock(mutex_);
    auto found = times_.find(path);
    if (found == times_.end() || found->second.id != id) return std::nullopt;
    return found->second.time;
  }
  void Remove(const std::string& path) {
    Lock lock(mutex_);
    times_.erase(path);
  }

 private:
  static constexpr std::size_t kMost = 300'000;

  struct Kept {
    std::string id;
    timespec time;
  };

  mutable Mutex mutex_;
  std::unordered_map<std::string, Kept> times_ B2_GUARDED_BY(mutex_);
  std::deque<std::string> in_order_ B2_GUARDED_BY(mutex_);  // of setting; some are removed since
};

}  // namespace b2drive::mount
