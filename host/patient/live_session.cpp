#include "host/patient/live_session.h"

namespace b2drive {
namespace {

// A session is replaced at this age without having been refused.
constexpr auto kLifetime = std::chrono::hours(23);
constexpr auto kPatience = std::chrono::minutes(1);

}  // namespace

std::shared_ptr<Session> LiveSession::Current() {
  std::shared_ptr<Session> session;
  {
    Lock lock(mutex_);
    session = session_;
    if (session && clock_() < replace_at_) return session;
    // The others go on with the old one, whose token has some time left.
    replace_at_ = clock_() + kPatience;
  }
  try {
    Replace(session);
  } catch (const HostError&) {
    if (!session) throw;
    return session;
  }
  return Current();
}

void LiveSession::NoteSuccess(const std::shared_ptr<Session>& session) {
  Lock lock(mutex_);
  if (session == session_) unproven_ = 0;
}

void LiveSession::Replace(const std::shared_ptr<Session>& refused) {
  Lock connecting(connecting_);
  {
    Lock lock(mutex_);
    if (session_ != refused) return;
    const Time now = clock_();
    if (refusal_ && now - refused_at_ < kPatience) throw HostError(*refusal_);
    if (session_ && unproven_ > 1 && now - connected_at_ < kPatience) {
      throw HostError(ExitCode::kSignInRefused,
                      "sign in: the service refuses the token that it has just given");
    }
  }
  try {
    Connect();
  } catch (const HostError& error) {
    Lock lock(mutex_);
    if (error.exit_code() == ExitCode::kSignInRefused) {
      refusal_ = error;
      refused_at_ = clock_();
    }
    throw;
  }
}

void LiveSession::Connect() {
  std::shared_ptr<Session> fresh = connect_();
  Lock lock(mutex_);
  session_ = std::move(fresh);
  connected_at_ = clock_();
  replace_at_ = connected_at_ + kLifetime;
  ++unproven_;
  refusal_.reset();
}

}  // namespace b2drive
