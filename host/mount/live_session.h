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
  using Connector = std::function<std::shared_ptr<Session>()>;
  using Time = std::chrono::steady_clock::time_point;
  using Clock = std::function<Time()>;

  explicit LiveSession(Connector connect, Clock clock = std::chrono::steady_clock::now);

  // Throws what Session's constructor throws when there is no session yet.
  std::shared_ptr<Session> Current();

  // To be called when the service refused `refused`'s token. Several callers connect once.
  void Replace(const std::shared_ptr<Session>& refused);

 private:
  void Connect();

  const Connector connect_;
  const Clock clock_;
  std::mutex connecting_;  // held while connecting
  std::mutex mutex_;
  std::shared_ptr<Session> session_;  // guarded by mutex_
  Time replace_at_;                   // guarded by mutex_
};

}  // namespace b2drive::mount
