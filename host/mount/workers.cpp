#include "host/mount/workers.h"

namespace b2drive::mount {

Workers::~Workers() {
  {
    std::lock_guard lock(mutex_);
    ending_ = true;
    changed_.notify_all();
  }
  for (std::thread& thread : threads_) thread.join();
}

void Workers::Run(std::function<void()> task) {
  std::lock_guard lock(mutex_);
  tasks_.push_back(std::move(task));
  if (tasks_.size() > idle_ && threads_.size() < most_) {
    threads_.emplace_back([this] { Work(); });
  }
  changed_.notify_one();
}

std::size_t Workers::busy() const {
  std::lock_guard lock(mutex_);
  return tasks_.size() + threads_.size() - idle_;
}

void Workers::Work() {
  std::unique_lock lock(mutex_);
  for (;;) {
    ++idle_;
    changed_.wait(lock, [this] { return ending_ || !tasks_.empty(); });
    --idle_;
    if (tasks_.empty()) return;
    auto task = std::move(tasks_.front());
    tasks_.pop_front();
    lock.unlock();
    task();
    task = {};
    lock.lock();
  }
}

}  // namespace b2drive::mount
