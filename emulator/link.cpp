#include "emulator/link.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <ctime>

namespace emulator {
namespace {

using Clock = std::chrono::steady_clock;

// What waits unsent at either end. The client has its own, and this socket's counts to it.
constexpr int kSocketBuffer = 256 * 1024;
constexpr size_t kSendBuffer = size_t{256} * 1024;

bool MustWait() { return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR; }

timespec Until(Link::Time time) {
  const auto left = std::max(time - Clock::now(), Clock::duration::zero());
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(left);
  return {static_cast<time_t>(seconds.count()), static_cast<long>((left - seconds).count())};
}

}  // namespace

Link::Link(const LinkSettings& link, int socket, Time opens)
    : socket_(socket),
      half_(std::chrono::nanoseconds(link.round_trip) / 2),
      in_(link, 0, opens),
      out_(link, kSendBuffer, opens),
      came_(opens) {
  // Left alone the system would take megabytes ahead of the link.
  setsockopt(socket_, SOL_SOCKET, SO_RCVBUF, &kSocketBuffer, sizeof kSocketBuffer);
  setsockopt(socket_, SOL_SOCKET, SO_SNDBUF, &kSocketBuffer, sizeof kSocketBuffer);
}

bool Link::AwaitBytes() {
  while (!broken_) {
    const Time now = Clock::now();
    if (in_.next() <= now) return true;
    if (in_.next() == Lane::kNever && ends_ <= now && incoming_ == Incoming::kEnded) return false;
    Step(std::min(in_.next(), ends_ > now ? ends_ : Lane::kNever));
  }
  return false;
}

char Link::Peek() { return AwaitBytes() ? in_.Arrived(Clock::now()).front() : '\0'; }

size_t Link::Read(char* data, size_t size) {
  if (!AwaitBytes()) return 0;
  const std::string_view arrived = in_.Arrived(Clock::now()).substr(0, size);
  std::ranges::copy(arrived, data);
  in_.Take(arrived.size());
  return arrived.size();
}

bool Link::Write(std::string_view bytes) {
  while (!bytes.empty() && !broken_) {
    const std::span<char> space = out_.Space();
    const Time now = Clock::now();
    if (space.empty()) {
      Step(Lane::kNever);
      continue;
    }
    const std::string_view some = bytes.substr(0, space.size());
    std::ranges::copy(some, space.begin());
    out_.Enter(some.size(), now);
    bytes.remove_prefix(some.size());
    if (out_.next() <= now) Send(now);
  }
  return !broken_;
}

void Link::Drain(std::chrono::milliseconds patience) {
  while (!broken_ && out_.next() != Lane::kNever) {
    if (blocked_ && Clock::now() - *blocked_ >= patience) return;
    Step(blocked_ ? *blocked_ + patience : Lane::kNever);
  }
}

void Link::Settle() {
  while (!broken_ && out_.next() != Lane::kNever && in_.next() > Clock::now()) Step(in_.next());
}

void Link::WaitForEnd(Time until) {
  while (!broken_) {
    const Time end = std::min(until, ends_);
    if (end <= Clock::now()) return;
    Step(end);
  }
}

void Link::Step(Time until) {
  const Time now = Clock::now();
  const bool received = Receive(now);
  const bool sent = Send(now);
  if (received || sent || broken_) return;
  Time next = until;
  if (!blocked_) next = std::min(next, out_.next());
  if (incoming_ == Incoming::kPerhaps && CanReceive()) next = std::min(next, in_.free());
  if (next > now) Wait(next);
}

bool Link::Receive(Time now) {
  if (incoming_ != Incoming::kPerhaps || in_.free() > now) return false;
  const std::span<char> space = in_.Space();
  if (space.empty()) return false;
  const ssize_t got = recv(socket_, space.data(), space.size(), MSG_DONTWAIT);
  if (got > 0) {
    // What came while this thread was busy entered the link all the same, as far as that may hold.
    in_.Enter(static_cast<size_t>(got), std::max(came_, now - in_.Longest()));
  } else if (got == 0) {
    incoming_ = Incoming::kEnded;
    ends_ = std::min(ends_, now + half_);
  } else if (MustWait()) {
    incoming_ = Incoming::kNone;
  } else {
    broken_ = true;
  }
  return got > 0;
}

bool Link::Send(Time now) {
  bool moved = false;
  for (std::string_view bytes; !(bytes = out_.Arrived(now)).empty();) {
    const ssize_t sent = send(socket_, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    if (sent < 0) {
      if (!MustWait()) broken_ = true;
      if (!blocked_) blocked_ = now;
      break;
    }
    moved = true;
    blocked_.reset();
    out_.Take(static_cast<size_t>(sent));
  }
  return moved;
}

void Link::Wait(Time until) {
  pollfd wait{socket_, 0, 0};
  if (incoming_ == Incoming::kNone && CanReceive()) wait.events |= POLLIN;
  if (ends_ == Lane::kNever) wait.events |= POLLRDHUP;
  if (blocked_) wait.events |= POLLOUT;
  const timespec left = until == Lane::kNever ? timespec{} : Until(until);
  if (ppoll(&wait, 1, until == Lane::kNever ? nullptr : &left, nullptr) <= 0) return;
  const Time now = Clock::now();
  if ((wait.revents & POLLRDHUP) != 0) ends_ = now + half_;
  if ((wait.revents & (POLLIN | POLLRDHUP)) != 0 && incoming_ == Incoming::kNone) {
    incoming_ = Incoming::kPerhaps;
    came_ = now;
  }
  if ((wait.revents & (POLLHUP | POLLERR)) != 0) broken_ = true;
}

}  // namespace emulator
