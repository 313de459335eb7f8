#pragma once

#include <ctime>
#include <list>
#include <optional>
#include <string>
#include <unordered_map>

#include "host/common/thread_safety.h"

namespace b2drive::mount {

// Modification times that the service cannot keep, for the life of the mount; of very many files,
// those set last. A time belongs to one version of a file and goes when another one takes its
// place. Thread-safe.
class TimeBook {
 public:
  // `id` is the version's identifier, empty for a folder.
  void Set(const std::string& path, const std::string& id, timespec time) {
    Lock lock(mutex_);
    Erase(path);
    times_.emplace(path, Kept{id, time, in_order_.insert(in_order_.end(), path)});
    if (times_.size() > kMost) Erase(std::string(in_order_.front()));
  }
  std::optional<timespec> Find(const std::string& path, const std::string& id) const {
    Lock lock(mutex_);
    auto found = times_.find(path);
    if (found == times_.end() || found->second.id != id) return std::nullopt;
    return found->second.time;
  }
  void Remove(const std::string& path) {
    Lock lock(mutex_);
    Erase(path);
  }

 private:
  static constexpr std::size_t kMost = 300'000;

  struct Kept {
    std::string id;
    timespec time;
    std::list<std::string>::iterator place;
  };

  void Erase(const std::string& path) B2_REQUIRES(mutex_) {
    const auto found = times_.find(path);
    if (found == times_.end()) return;
    in_order_.erase(found->second.place);
    times_.erase(found);
  }

  mutable Mutex mutex_;
  std::unordered_map<std::string, Kept> times_ B2_GUARDED_BY(mutex_);
  std::list<std::string> in_order_ B2_GUARDED_BY(mutex_);  // of setting
};

}  // namespace b2drive::mount
