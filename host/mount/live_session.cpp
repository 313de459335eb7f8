#include "host/mount/live_session.h"

#include "host/errors.h"

namespace b2drive::mount {
namespace {

// A session is replaced at this age without having been refused.
constexpr auto kLifetime = std::chrono::hours(23);

}  // namespace

LiveSession::LiveSession(Connector connect, Clock clock)
    : connect_(std::move(connect)), clock_(std::move(clock)) {
  Connect();
}

std::shared_ptr<Session> LiveSession::Current() {
  std::unique_lock lock(mutex_);
  auto session = session_;
  if (clock_() < replace_at_) return session;
  // The others go on with the old one, whose token has some time left.
  replace_at_ = clock_() + std::chrono::minutes(1);
  lock.unlock();
  try {
    Replace(session);
  } catch (const HostError&) {
    return session;
  }
  return Current();
}

void LiveSession::Replace(const std::shared_ptr<Session>& refused) {
  std::lock_guard connecting(connecting_);
  {
    std::lock_guard lock(mutex_);
    if (session_ != refused) return;
  }
  Connect();
}

void LiveSession::Connect() {
  std::shared_ptr<Session> fresh = connect_();
  std::lock_guard lock(mutex_);
  session_ = std::move(fresh);
  replace_at_ = clock_() + kLifetime;
}

}  // namespace b2drive::mount
