#pragma once

#include <atomic>
#include <functional>
#include <optional>
#include <string>

#include "host/common/errors.h"
#include "host/common/thread_safety.h"
#include "host/common/workers.h"
#include "host/plugin/transfers.h"

namespace b2drive {

// Does many things of one kind on several threads, and remembers how it went. A failure of one is
// printed and the rest goes on; after an interruption none begins any more.
class Crew {
 public:
  // `command` begins the lines of failures. `done` ends the sentence "3 of 5 ...": "files were
  // stored". `expected` is how many there will be; a single one's failure is thrown, not printed.
  Crew(const Transfers& transfers, std::string command, std::string done, std::size_t expected,
       std::size_t threads);

  void Run(std::function<void()> task);

  // Waits for all. Success, kPartly once the count was printed, or throws: the failure of a single
  // one, or kInterrupted.
  ExitCode Finish();

  std::size_t succeeded() const { return succeeded_; }

 private:
  void Try(const std::function<void()>& task);
  void Fail(const HostError& error);
  std::string Count() const;

  const Transfers& transfers_;
  const std::string command_;
  const std::string done_;
  const std::size_t expected_;
  std::atomic<std::size_t> succeeded_{0};
  Mutex mutex_;
  std::optional<HostError> last_failure_ B2_GUARDED_BY(mutex_);
  Workers workers_;
};

}  // namespace b2drive
