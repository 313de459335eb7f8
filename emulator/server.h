#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <list>
#include <thread>

#include "base/thread_safety.h"
#include "emulator/address.h"
#include "emulator/stream.h"

namespace emulator {

// Listens at an address and serves each connection on a thread of its own. Connections that come
// before Start wait for it.
class Server {
 public:
  // `serve` is run once per connection, must return when its stream is shut down, and must not
  // throw. A connection for which no thread can be had is closed. Port 0: the system's choice.
  // Throws std::system_error.
  Server(const Address& address, std::function<void(Stream&)> serve);
  // Shuts all connections down and waits for their threads.
  ~Server();

  // Once.
  void Start();

  uint16_t port() const { return port_; }

  // Ends connections between requests now, the others after their request.
  void CloseIdle();
  // Ends all connections now.
  void Drop();

 private:
  struct Worker {
    explicit Worker(int socket) : stream(socket) {}
    Stream stream;
    std::thread thread;
    std::atomic<bool> done = false;
  };

  void AcceptLoop();
  bool IsStopping();
  void StartWorker(int socket);
  void Serve(Worker& worker);
  std::list<Worker> TakeDone();

  const std::function<void(Stream&)> serve_;
  int listener_ = -1;
  uint16_t port_ = 0;

  base::Mutex mutex_;
  std::list<Worker> workers_ B2_GUARDED_BY(mutex_);
  bool stopping_ B2_GUARDED_BY(mutex_) = false;

  std::thread acceptor_;
};

}  // namespace emulator
