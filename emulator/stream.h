#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "base/thread_safety.h"
#include "emulator/link.h"

struct ssl_st;
struct ssl_ctx_st;

namespace emulator {

// One accepted connection as a blocking stream of bytes, under TLS once that is started. One
// thread uses it; Shutdown and CloseWhenIdle may be called from any other.
class Stream {
 public:
  // Owns the socket.
  explicit Stream(int socket);
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;
  ~Stream();

  // When the client's connection was taken.
  Link::Time accepted() const { return accepted_; }
  // Everything that follows goes over a link, on which the connection stands from `opens` on. Must
  // come before StartTls.
  void StartLink(const LinkSettings& settings, Link::Time opens);

  // Waits for the first byte, which stays to be read; 0 when none comes.
  char Peek() const;
  // Throws Aborted when the handshake fails.
  void StartTls(ssl_ctx_st* context);

  // Up to `size` bytes; 0 at the end of the stream or when it is broken.
  size_t Read(char* data, size_t size);

  // Small writes are gathered until Flush. Throw Aborted when the peer is gone.
  void Write(std::string_view bytes);
  void Flush();

  // Waits; returns early when the peer closes or the stream is shut down.
  void Pause(std::chrono::milliseconds time) const;
  // Waits until the peer closes or the stream is shut down.
  void WaitForClose() const;

  // Ends the stream so that the peer still gets all that was written.
  void CloseGently();
  // Ends the stream at once.
  void CloseNow();

  // Unblocks the thread that uses the stream; everything fails from then on.
  void Shutdown();
  // Ends the stream after the request in hand, if there is one.
  void CloseWhenIdle();
  // Marks the time between requests. Returns false when the stream is to end instead.
  bool BecomeIdle();
  void BecomeBusy() { idle_ = false; }

 private:
  struct FreeSsl {
    void operator()(ssl_st* ssl) const;
  };

  void WriteAll(std::string_view bytes);

  bool StartSsl(ssl_ctx_st* context);
  size_t Send(std::string_view bytes);

  const int socket_;  // closed by CloseNow, under mutex_
  const Link::Time accepted_ = std::chrono::steady_clock::now();
  std::unique_ptr<Link> link_;  // none: straight through the socket
  std::unique_ptr<ssl_st, FreeSsl> ssl_;
  std::string pending_;  // written, not yet sent
  std::atomic<bool> idle_ = false;
  std::atomic<bool> closing_ = false;

  base::Mutex mutex_;
  bool open_ B2_GUARDED_BY(mutex_) = true;
};

}  // namespace emulator
