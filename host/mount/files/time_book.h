#pragma once

#include <ctime>
#include <optional>
#include <string>

#include "host/common/keyed_list.h"
#include "host/common/thread_safety.h"

namespace b2drive::mount {

// Modification times that programs set and the service does not hold, for the life of the mount; of
// very many files, those set last. A time belongs to one version of a file and goes when another
// one takes its place. Thread-safe.
class TimeBook {
 public:
  // `id` is the version's identifier, empty for a folder.
  void Set(const std::string& path, const std::string& id, timespec time) {
    Lock lock(mutex_);
    times_.get<1>().erase(path);
    times_.push_back({path, id, time});
    if (times_.size() > kMost) times_.pop_front();
  }
  std::optional<timespec> Find(const std::string& path, const std::string& id) const {
    Lock lock(mutex_);
    auto found = times_.get<1>().find(path);
    if (found == times_.get<1>().end() || found->id != id) return std::nullopt;
    return found->time;
  }
  void Remove(const std::string& path) {
    Lock lock(mutex_);
    times_.get<1>().erase(path);
  }

 private:
  static constexpr std::size_t kMost = 300'000;

  struct Kept {
    std::string path;
    std::string id;
    timespec time;
  };

  mutable Mutex mutex_;
  KeyedList<Kept, &Kept::path> times_ B2_GUARDED_BY(mutex_);  // in the order of setting
};

}  // namespace b2drive::mount
