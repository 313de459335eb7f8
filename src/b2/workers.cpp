#include "b2/workers.h"

#include <system_error>

namespace {

constexpr std::chrono::milliseconds kInterval{100};

}  // namespace

// None is left behind, whatever throws.
class Workers::Joined {
 public:
  explicit Joined(Workers& workers) : workers_(workers) {}
  ~Joined() {
    if (!workers_.WaitForAll({})) workers_.Fail(AERROR::FAILED);
    for (Worker& worker : workers_.workers_) {
      if (worker.thread.joinable()) worker.thread.join();
    }
  }
  Joined(const Joined&) = delete;
  Joined& operator=(const Joined&) = delete;

 private:
  Workers& workers_;
};

bool Workers::Fail(AERROR result) {
  const base::Lock lock(mutex_);
  if (failed_.exchange(true)) return false;
  result_ = result;
  return true;
}

AERROR Workers::Run(int count, const Job& job, const std::function<void()>& meanwhile) {
  {
    const Joined joined(*this);
    Start(count, job);
    while (!WaitForAll(kInterval)) {
      for (Worker& worker : workers_) worker.log.Deliver(false);
      meanwhile();
    }
    meanwhile();
  }
  // The line that says why comes last.
  for (const bool failed_first : {false, true}) {
    for (Worker& worker : workers_) {
      if (worker.failed_first == failed_first) worker.log.Deliver(true);
    }
  }
  const base::Lock lock(mutex_);
  return result_;
}

void Workers::Start(int count, const Job& job) {
  for (int i = 0; i < count; ++i) {
    Worker& worker = workers_.emplace_back();
    Come();
    try {
      worker.thread = std::thread([this, i, &worker, &job] { Work(i, worker, job); });
    } catch (const std::system_error&) {  // those that there are do it all
      Go();
      if (i == 0) throw;
      return;
    }
  }
}

void Workers::Work(int number, Worker& worker, const Job& job) noexcept {
  const RelayedHere relayed(worker.log);
  AERROR result = AERROR::FAILED;
  try {
    result = job(number, worker.log);
  } catch (...) {
    result = AERROR::FAILED;
  }
  if (result != AERROR::SUCCESS) worker.failed_first = Fail(result);
  Go();
}

void Workers::Come() {
  const base::Lock lock(mutex_);
  ++present_;
}

void Workers::Go() {
  const base::Lock lock(mutex_);
  --present_;
  gone_.notify_all();
}

bool Workers::WaitForAll(std::chrono::milliseconds time) {
  const auto end = std::chrono::steady_clock::now() + time;
  base::Lock lock(mutex_);
  while (present_ > 0) {
    if (gone_.wait_until(lock, end) == std::cv_status::timeout) return present_ == 0;
  }
  return true;
}
