#include "emulator/stream.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "emulator/link_bio.h"
#include "emulator/message.h"

namespace emulator {
namespace {

constexpr size_t kGatherLimit = size_t{16} * 1024;
constexpr size_t kLargestWrite = size_t{1} << 20;
constexpr std::chrono::milliseconds kLinger(500);

void WaitForHangup(int socket, int milliseconds) {
  pollfd wait{socket, POLLRDHUP, 0};
  while (poll(&wait, 1, milliseconds) < 0 && errno == EINTR) {
  }
}

}  // namespace

void Stream::FreeSsl::operator()(ssl_st* ssl) const { SSL_free(ssl); }

Stream::Stream(int socket) : socket_(socket) {
  const int on = 1;
  setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

Stream::~Stream() { CloseNow(); }

void Stream::StartLink(const LinkSettings& settings, Link::Time opens) {
  link_ = std::make_unique<Link>(settings, socket_, opens);
}

char Stream::Peek() const {
  if (link_) return link_->Peek();
  char first = 0;
  return recv(socket_, &first, 1, MSG_PEEK) == 1 ? first : '\0';
}

bool Stream::StartSsl(ssl_ctx_st* context) {
  ssl_.reset(SSL_new(context));
  if (!ssl_) return false;
  if (link_) {
    bio_st* const bio = NewLinkBio(*link_);
    if (bio == nullptr) return false;
    SSL_set_bio(ssl_.get(), bio, bio);
  } else if (SSL_set_fd(ssl_.get(), socket_) != 1) {
    return false;
  }
  return SSL_accept(ssl_.get()) == 1;
}

void Stream::StartTls(ssl_ctx_st* context) {
  if (!StartSsl(context)) {
    // The thread's error queue must be empty for the next connection's calls.
    ERR_clear_error();
    ssl_.reset();
    throw Aborted{};
  }
}

size_t Stream::Read(char* data, size_t size) {
  if (ssl_) {
    size_t got = 0;
    if (SSL_read_ex(ssl_.get(), data, size, &got) == 1) return got;
    ERR_clear_error();
    return 0;
  }
  if (link_) return link_->Read(data, size);
  const ssize_t got = recv(socket_, data, size, 0);
  return got > 0 ? static_cast<size_t>(got) : 0;
}

// How many of the bytes have gone; 0 when the peer is gone.
size_t Stream::Send(std::string_view bytes) {
  if (ssl_) {
    size_t sent = 0;
    if (SSL_write_ex(ssl_.get(), bytes.data(), bytes.size(), &sent) == 1) return sent;
    ERR_clear_error();
    return 0;
  }
  if (link_) return link_->Write(bytes) ? bytes.size() : 0;
  const ssize_t sent = send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
  return sent > 0 ? static_cast<size_t>(sent) : 0;
}

void Stream::WriteAll(std::string_view bytes) {
  while (!bytes.empty()) {
    const size_t sent = Send(bytes.substr(0, kLargestWrite));
    if (sent == 0) throw Aborted{};
    bytes.remove_prefix(sent);
  }
}

void Stream::Write(std::string_view bytes) {
  if (pending_.size() + bytes.size() <= kGatherLimit) {
    pending_ += bytes;
    return;
  }
  Flush();
  WriteAll(bytes);
}

void Stream::Flush() {
  WriteAll(pending_);
  pending_.clear();
}

void Stream::Pause(std::chrono::milliseconds time) const {
  if (time.count() <= 0) return;
  if (link_) return link_->WaitForEnd(std::chrono::steady_clock::now() + time);
  WaitForHangup(socket_, static_cast<int>(time.count()));
}

void Stream::WaitForClose() const {
  if (link_) return link_->WaitForEnd(Lane::kNever);
  WaitForHangup(socket_, -1);
}

void Stream::CloseGently() {
  if (ssl_) {
    SSL_shutdown(ssl_.get());
    ERR_clear_error();
  }
  if (link_) link_->Drain(kLinger);
  shutdown(socket_, SHUT_WR);
  // Closing with unread bytes would reset the connection and take the answer back.
  std::array<char, size_t{64} * 1024> rest;
  pollfd wait{socket_, POLLIN, 0};
  while (poll(&wait, 1, static_cast<int>(kLinger.count())) == 1 &&
         recv(socket_, rest.data(), rest.size(), 0) > 0) {
  }
  CloseNow();
}

void Stream::CloseNow() {
  // Bytes that have gone are on their way, whatever happens here.
  if (link_) link_->Drain(kLinger);
  base::Lock lock(mutex_);
  if (!open_) return;
  open_ = false;
  close(socket_);
}

void Stream::Shutdown() {
  base::Lock lock(mutex_);
  if (open_) shutdown(socket_, SHUT_RDWR);
}

void Stream::CloseWhenIdle() {
  closing_ = true;
  if (idle_) Shutdown();
}

bool Stream::BecomeIdle() {
  // Until then the answer could still be lost.
  if (link_) link_->Settle();
  idle_ = true;
  return !closing_;
}

}  // namespace emulator
