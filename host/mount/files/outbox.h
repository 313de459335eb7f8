#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <set>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

#include "host/common/thread_safety.h"
#include "host/common/workers.h"
#include "host/mount/files/open_files.h"

namespace b2drive::mount {

// What is not on the service yet. Contents are sent when a program closes or syncs its file, or are
// kept and sent in the background, as the mount was told to; what no program waits for, and what
// could not be sent, goes in the background in any case, after growing waits. Thread-safe.
class Outbox {
 public:
  // What may wait before Keep does: contents with an entry in `spool`.
  struct Bound {
    const Spool& spool;
    std::uint64_t bytes;
    std::uint64_t files;
  };
  // With `read_only` nothing is sent: what an earlier mount has left stays where it is.
  Outbox(OpenFiles& files, Bound bound, bool read_only);
  ~Outbox();
  Outbox(const Outbox&) = delete;
  Outbox& operator=(const Outbox&) = delete;

  // What an earlier mount could not send.
  void Resume(std::vector<Unsent> unsent);
  // Returns when the service holds the file's contents. Throws FsError, and tries again by itself
  // then.
  void Save(const SharedFilePtr& file);
  // Returns when the file's contents survive a loss of power, and sends them in the background.
  // Waits while too much waits. Where they cannot be kept, or what waits is not sent by itself, it
  // saves them.
  void Keep(const SharedFilePtr& file);
  // What came after the last save, through a mapping, is to be sent too.
  void LastClosed(const SharedFilePtr& file) noexcept;

  std::vector<Delay> Waiting();
  // Sends it; to be called when no operation runs any more. Gives what could not be sent.
  std::vector<Delay> Drain();

 private:
  using Clock = std::chrono::steady_clock;

  struct Job {
    Clock::time_point due;
    bool running = false;
    std::optional<Clock::time_point> again = std::nullopt;  // asked for while it ran
    bool refused = false;                                   // the last time
  };

  bool AwaitRoom(std::uint64_t size);
  bool IsMoving() const B2_REQUIRES(mutex_);
  void SendLater(const SharedFilePtr& file, std::chrono::milliseconds delay);
  bool Schedule(const SharedFilePtr& file, Clock::time_point due);
  void SendAgain(const SharedFilePtr& file);
  std::optional<std::chrono::milliseconds> PauseOf(const SharedFilePtr& file);
  void Dispatch();
  SharedFilePtr NextDue(Lock& lock) B2_REQUIRES(mutex_);
  void Run(const SharedFilePtr& file) noexcept;
  static void Send(const SharedFilePtr& file);
  bool EndJob(const SharedFilePtr& file, std::optional<Clock::time_point> next);
  // Finishes what is being sent and begins nothing any more.
  void Stop();
  bool stopped();

  OpenFiles& files_;
  const Bound bound_;
  const bool read_only_;
  Mutex mutex_;
  Condition changed_;
  std::unordered_map<SharedFilePtr, Job> jobs_ B2_GUARDED_BY(mutex_);
  std::set<std::pair<Clock::time_point, SharedFilePtr>> due_ B2_GUARDED_BY(mutex_);  // not running
  bool stopped_ B2_GUARDED_BY(mutex_) = false;
  Workers senders_;
  std::thread dispatcher_;
};

}  // namespace b2drive::mount
