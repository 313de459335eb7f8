#pragma once

#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "host/common/thread_safety.h"

namespace b2drive::mount {

// What happened without a program's doing, for whoever looks after the mount. Thread-safe.
class Announcements {
 public:
  using Listener = std::function<void(const std::string& from, const std::string& to)>;

  // A line for the log, which `status` shows as well.
  void Add(const std::string& line);
  // Contents went to a name of their own.
  void AddRedirect(const std::string& from, const std::string& to);
  // To be told of redirects; an empty one ends it.
  void OnRedirect(Listener listener);
  // The latest hundred lines.
  std::vector<std::string> Lines();

 private:
  Mutex mutex_;
  std::deque<std::string> lines_ B2_GUARDED_BY(mutex_);
  Listener on_redirect_ B2_GUARDED_BY(mutex_);
};

}  // namespace b2drive::mount
