#pragma once

#include <optional>
#include <string>
#include <unordered_map>

#include "host/common/thread_safety.h"
#include "host/plugin/entry.h"

namespace b2drive::mount {

// Folders known to have a marker, with the marker where it is known. Thread-safe.
class KnownMarkers {
 public:
  void Note(const std::string& folder, const std::optional<Entry>& marker) {
    constexpr std::size_t kMost = 10'000;
    Lock lock(mutex_);
    if (markers_.size() >= kMost) markers_.clear();  // they can be looked up
    markers_[folder] = marker;
  }
  bool Has(const std::string& folder) {
    Lock lock(mutex_);
    return markers_.contains(folder);
  }
  std::optional<Entry> Find(const std::string& folder) {
    Lock lock(mutex_);
    auto known = markers_.find(folder);
    return known != markers_.end() ? known->second : std::nullopt;
  }
  void Remove(const std::string& folder) {
    Lock lock(mutex_);
    markers_.erase(folder);
  }

 private:
  Mutex mutex_;
  std::unordered_map<std::string, std::optional<Entry>> markers_ B2_GUARDED_BY(mutex_);
};

}  // namespace b2drive::mount
