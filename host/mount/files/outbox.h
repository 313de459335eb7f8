#pragma once

#include <chrono>
#include <map>
#include <set>
#include <thread>
#include <vector>

#include "host/common/thread_safety.h"
#include "host/common/workers.h"
#include "host/mount/files/open_files.h"

namespace b2drive::mount {

// What is not on the service yet. Contents are sent when a program closes or syncs its file; what
// no program waits for, and what could not be sent, goes in the background, after growing waits.
// Thread-safe.
class Outbox {
 public:
  // With `read_only` nothing is sent: what an earlier mount has left stays where it is.
  Outbox(OpenFiles& files, bool read_only);
  ~Outbox();
  Outbox(const Outbox&) = delete;
  Outbox& operator=(const Outbox&) = delete;

  // What an earlier mount could not send.
  void Resume(std::vector<Unsent> unsent);
  // Returns when the service holds the file's contents. Throws FsError, and tries again by itself
  // then.
  void Save(const SharedFilePtr& file);
  // What came after the last save, through a mapping, is to be sent too.
  void LastClosed(const SharedFilePtr& file) noexcept;

  std::vector<Delay> Waiting();
  // Sends it; to be called when no operation runs any more. Gives what could not be sent.
  std::vector<Delay> Drain();

 private:
  using Clock = std::chrono::steady_clock;

  void SendLater(const SharedFilePtr& file, std::chrono::milliseconds delay);
  void SendAgain(const SharedFilePtr& file);
  void Dispatch();
  SharedFilePtr NextDue(Lock& lock) B2_REQUIRES(mutex_);
  void Send(const SharedFilePtr& file) noexcept;
  // Finishes what is being sent and begins nothing any more.
  void Stop();
  bool stopped();

  OpenFiles& files_;
  const bool read_only_;
  Mutex mutex_;
  Condition changed_;
  std::multimap<Clock::time_point, SharedFilePtr> due_ B2_GUARDED_BY(mutex_);
  std::set<SharedFilePtr> scheduled_ B2_GUARDED_BY(mutex_);
  bool stopped_ B2_GUARDED_BY(mutex_) = false;
  Workers senders_;
  std::thread dispatcher_;
};

}  // namespace b2drive::mount
