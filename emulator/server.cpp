#include "emulator/server.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <system_error>
#include <utility>

namespace emulator {
namespace {

constexpr int kBacklog = 1024;

[[noreturn]] void Fail(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

int Listen(const Address& address) {
  const int listener = socket(address.storage.ss_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (listener < 0) Fail("socket");
  const int on = 1;
  setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  if (bind(listener, reinterpret_cast<const sockaddr*>(&address.storage), address.size) != 0 ||
      listen(listener, kBacklog) != 0) {
    const int error = errno;
    close(listener);
    errno = error;
    Fail("cannot listen at " + address.text);
  }
  return listener;
}

// Threads started from here leave signals, SIGPIPE among them, to the program's own threads.
void BlockSignals() {
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, nullptr);
}

}  // namespace

Server::Server(const Address& address, std::function<void(Stream&)> serve)
    : serve_(std::move(serve)), listener_(Listen(address)), port_(PortOf(listener_)) {}

void Server::Start() {
  acceptor_ = std::thread([this] { AcceptLoop(); });
}

Server::~Server() {
  {
    base::Lock lock(mutex_);
    stopping_ = true;
    for (Worker& worker : workers_) worker.stream.Shutdown();
  }
  shutdown(listener_, SHUT_RDWR);
  if (acceptor_.joinable()) acceptor_.join();
  close(listener_);
  for (Worker& worker : workers_) worker.thread.join();
}

void Server::AcceptLoop() {
  BlockSignals();
  while (true) {
    const int socket = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (socket >= 0) {
      StartWorker(socket);
      for (Worker& worker : TakeDone()) worker.thread.join();
      continue;
    }
    const bool out_of_descriptors = errno == EMFILE || errno == ENFILE;
    if (IsStopping()) return;
    // Some connection must end first.
    if (out_of_descriptors) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

bool Server::IsStopping() {
  base::Lock lock(mutex_);
  return stopping_;
}

void Server::StartWorker(int socket) {
  base::Lock lock(mutex_);
  Worker& worker = workers_.emplace_back(socket);
  if (stopping_) worker.stream.Shutdown();
  try {
    worker.thread = std::thread([this, &worker] { Serve(worker); });
  } catch (const std::system_error&) {
    workers_.pop_back();  // too many threads: this client must do without an answer
  }
}

void Server::Serve(Worker& worker) {
  serve_(worker.stream);
  worker.stream.CloseNow();
  worker.done = true;
}

std::list<Server::Worker> Server::TakeDone() {
  base::Lock lock(mutex_);
  std::list<Worker> done;
  for (auto worker = workers_.begin(); worker != workers_.end();) {
    const auto next = std::next(worker);
    if (worker->done) done.splice(done.end(), workers_, worker);
    worker = next;
  }
  return done;
}

void Server::CloseIdle() {
  base::Lock lock(mutex_);
  for (Worker& worker : workers_) worker.stream.CloseWhenIdle();
}

void Server::Drop() {
  base::Lock lock(mutex_);
  for (Worker& worker : workers_) worker.stream.Shutdown();
}

}  // namespace emulator
