#include "host/mount/live_session.h"

#include "host/errors.h"

namespace b2drive::mount {

LiveSession::LiveSession(Connector connect, std::chrono::seconds lifetime)
    : connect_(std::move(connect)), lifetime_(lifetime) {
  Connect();
}

std::shared_ptr<Session> LiveSession::Current() {
  std::unique_lock lock(mutex_);
  auto session = session_;
  if (Clock::now() < replace_at_) return session;
  // The others go on with the old one, whose token has some time left.
  replace_at_ = Clock::now() + std::chrono::minutes(1);
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
  replace_at_ = Clock::now() + lifetime_;
}

}  // namespace b2drive::mount
