#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>

#include "host/session.h"

namespace b2drive::mount {

// The session in use. Its token ends after a day and cannot be renewed, so a new session takes its
// place; calls in flight finish on the old one, which goes with the last of them. Thread-safe.
class LiveSession {
 public:
  using Connector = std::function<std::unique_ptr<Session>()>;

  // `lifetime` is when a session is replaced without having been refused.
  explicit LiveSession(Connector connect, std::chrono::seconds lifetime = std::chrono::hours(23));

  // Throws what Session's constructor throws when there is no session yet.
  std::shared_ptr<Session> Current();

  // To be called when the service refused `refused`'s token. Several callers connect once.
  void Replace(const std::shared_ptr<Session>& refused);

 private:
  using Clock = std::chrono::steady_clock;

  void Connect();

  const Connector connect_;
  const std::chrono::seconds lifetime_;
  std::mutex connecting_;  // held while connecting
  std::mutex mutex_;
  std::shared_ptr<Session> session_;  // guarded by mutex_
  Clock::time_point replace_at_;      // guarded by mutex_
};

}  // namespace b2drive::mount
