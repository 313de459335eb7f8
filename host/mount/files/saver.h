#pragma once

#include <chrono>
#include <map>
#include <set>
#include <thread>
#include <vector>

#include "host/common/thread_safety.h"
#include "host/mount/files/open_files.h"

namespace b2drive::mount {

// Sends in the background what no program waits for: files closed empty, and what could not be sent
// before, after growing waits. Thread-safe.
class Saver {
 public:
  explicit Saver(OpenFiles& files);
  ~Saver();
  Saver(const Saver&) = delete;
  Saver& operator=(const Saver&) = delete;

  void Soon(const SharedFilePtr& file) { Later(file, std::chrono::milliseconds(0)); }
  // After a failure.
  void Again(const SharedFilePtr& file);
  // Finishes what is being sent and begins nothing any more.
  void Stop();

 private:
  using Clock = std::chrono::steady_clock;

  void Later(const SharedFilePtr& file, std::chrono::milliseconds delay);
  void Work();
  void Send(const SharedFilePtr& file);

  OpenFiles& files_;
  Mutex mutex_;
  Condition changed_;
  std::multimap<Clock::time_point, SharedFilePtr> due_ B2_GUARDED_BY(mutex_);
  std::set<SharedFilePtr> scheduled_ B2_GUARDED_BY(mutex_);
  bool stopped_ B2_GUARDED_BY(mutex_) = false;
  std::vector<std::thread> threads_;
};

}  // namespace b2drive::mount
