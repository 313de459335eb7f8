#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

#include "host/common/errors.h"
#include "host/common/thread_safety.h"
#include "host/plugin/session.h"

namespace b2drive {

// The session in use. Its token ends after a day and cannot be renewed, so a new session takes its
// place; calls in flight finish on the old one, which goes with the last of them. A key that was
// revoked, or a service that twice takes back what it has just given, is asked once a minute.
// Thread-safe.
class LiveSession {
 public:
  using Connector = std::function<std::shared_ptr<Session>()>;
  using Time = std::chrono::steady_clock::time_point;
  using Clock = std::function<Time()>;

  explicit LiveSession(Connector connect, Clock clock = std::chrono::steady_clock::now)
      : connect_(std::move(connect)), clock_(std::move(clock)) {}

  // Signs in when there is no session yet, and throws then what Session's constructor throws.
  std::shared_ptr<Session> Current();

  // To be called when the service refused `refused`'s token. Several callers connect once. Throws
  // what the sign-in throws, or threw less than a minute ago.
  void Replace(const std::shared_ptr<Session>& refused);

  // To be called when a call of the session succeeded.
  void NoteSuccess(const std::shared_ptr<Session>& session);

 private:
  void Connect();

  const Connector connect_;
  const Clock clock_;
  Mutex connecting_ B2_ACQUIRED_BEFORE(mutex_);  // held while connecting
  Mutex mutex_;
  std::shared_ptr<Session> session_ B2_GUARDED_BY(mutex_);
  Time connected_at_ B2_GUARDED_BY(mutex_);
  Time replace_at_ B2_GUARDED_BY(mutex_);
  int unproven_ B2_GUARDED_BY(mutex_) = 0;  // sessions in a row of which no call has succeeded
  std::optional<HostError> refusal_ B2_GUARDED_BY(mutex_);  // of the last sign-in
  Time refused_at_ B2_GUARDED_BY(mutex_);
};

}  // namespace b2drive
