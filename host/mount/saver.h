#pragma once

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include "host/mount/open_files.h"

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
  std::mutex mutex_;  // guards what follows
  std::condition_variable changed_;
  std::multimap<Clock::time_point, SharedFilePtr> due_;
  std::set<SharedFilePtr> scheduled_;
  bool stopped_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace b2drive::mount
