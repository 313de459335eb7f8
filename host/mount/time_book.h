#pragma once

#include <ctime>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>

namespace b2drive::mount {

// Modification times that the service cannot keep, for the life of the mount. A time belongs to one
// version of a file and goes when another one takes its place. Thread-safe.
class TimeBook {
 public:
  // `id` is the version's identifier, empty for a folder.
  void Set(const std::string& path, const std::string& id, timespec time) {
    std::lock_guard lock(mutex_);
    times_[path] = {id, time};
  }
  std::optional<timespec> Find(const std::string& path, const std::string& id) const {
    std::lock_guard lock(mutex_);
    auto found = times_.find(path);
    if (found == times_.end() || found->second.id != id) return std::nullopt;
    return found->second.time;
  }
  void Remove(const std::string& path) {
    std::lock_guard lock(mutex_);
    times_.erase(path);
  }

 private:
  struct Kept {
    std::string id;
    timespec time;
  };

  mutable std::mutex mutex_;
  std::unordered_map<std::string, Kept> times_;
};

}  // namespace b2drive::mount
