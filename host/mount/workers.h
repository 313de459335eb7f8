#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace b2drive::mount {

// Threads that come as they are needed, up to `most`. Tasks must not throw.
class Workers {
 public:
  explicit Workers(std::size_t most) : most_(most) {}
  // Runs what is left and waits for it.
  ~Workers();
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;

  void Run(std::function<void()> task);
  // Tasks that run or wait.
  std::size_t busy() const;

 private:
  void Work();

  const std::size_t most_;
  mutable std::mutex mutex_;  // guards what follows
  std::condition_variable changed_;
  std::deque<std::function<void()>> tasks_;
  std::vector<std::thread> threads_;
  std::size_t idle_ = 0;
  bool ending_ = false;
};

}  // namespace b2drive::mount
