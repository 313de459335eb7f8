#include "host/common/workers.h"

#include <system_error>

namespace b2drive {

Workers::~Workers() {
  Threads ended;
  {
    Lock lock(mutex_);
    ending_ = true;
    changed_.notify_all();
    while (!threads_.empty()) changed_.wait(lock);
    ended.swap(ended_);
  }
  for (std::thread& thread : ended) thread.join();
}

void Workers::Run(std::function<void()> task) {
  Threads ended;
  {
    Lock lock(mutex_);
    tasks_.push_back(std::move(task));
    try {
      if (tasks_.size() > idle_ && threads_.size() < most_) Start();
    } catch (const std::system_error&) {
      if (threads_.empty()) {
        tasks_.pop_back();
        throw;
      }
    }
    changed_.notify_one();
    ended.swap(ended_);
  }
  for (std::thread& thread : ended) thread.join();
}

void Workers::Start() {
  const auto self = threads_.emplace(threads_.end());
  try {
    *self = std::thread([this, self] { Work(self); });
  } catch (...) {
    threads_.erase(self);
    throw;
  }
}

void Workers::Finish() {
  Lock lock(mutex_);
  while (IsBusy()) finished_.wait(lock);
}

bool Workers::FinishWithin(std::chrono::milliseconds time) {
  const auto end = std::chrono::steady_clock::now() + time;
  Lock lock(mutex_);
  while (IsBusy()) {
    if (finished_.wait_until(lock, end) == std::cv_status::timeout) return !IsBusy();
  }
  return true;
}

// False when the thread may go.
bool Workers::AwaitTask(Lock& lock) {
  constexpr auto kPatience = std::chrono::seconds(10);
  ++idle_;
  if (!IsBusy()) finished_.notify_all();
  auto status = std::cv_status::no_timeout;
  while (tasks_.empty() && !ending_ && status == std::cv_status::no_timeout) {
    status = changed_.wait_for(lock, kPatience);
  }
  --idle_;
  return !tasks_.empty();
}

void Workers::Work(Threads::iterator self) {
  Lock lock(mutex_);
  while (AwaitTask(lock)) {
    auto task = std::move(tasks_.front());
    tasks_.pop_front();
    lock.unlock();
    task();
    task = {};
    lock.lock();
  }
  ended_.splice(ended_.end(), threads_, self);
  changed_.notify_all();
}

}  // namespace b2drive
