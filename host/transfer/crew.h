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
// printed and the rest goes on; after an interruption none begins any more. Any thread may call.
class Crew {
 public:
  // `command` begins the lines of failures. `done` ends the sentence "3 of 5 ...": "files were
  // stored". `expected` is how many there will be; a single one's failure is thrown, not printed.
  Crew(const Transfers& transfers, std::string command, std::string done, std::size_t expected,
       std::size_t threads);

  // One of those that are expected. Waits while many others do, so that not all of them need
  // memory at once; so no task may call it.
  void Run(std::function<void()> task);
  // What they need besides, such as their folders: its failure is one of theirs. Tasks may call.
  void RunUncounted(std::function<void()> task);

  // So many more are expected.
  void Expect(std::size_t more) { expected_ += more; }
  // One that is expected cannot be done.
  void Fail(const HostError& error);

  // Waits for all. Success, kPartly once the count was printed, or throws: the failure of a single
  // one, or kInterrupted.
  ExitCode Finish();

 private:
  void AwaitRoom();
  void LeaveQueue();
  bool Try(const std::function<void()>& task);
  void TellFirst() B2_REQUIRES(mutex_);
  std::string Count() const;

  const Transfers& transfers_;
  const std::string command_;
  const std::string done_;
  std::atomic<std::size_t> expected_;
  std::atomic<std::size_t> succeeded_{0};
  Mutex mutex_;
  Condition room_;
  std::size_t waiting_ B2_GUARDED_BY(mutex_) = 0;  // of those that are counted
  std::size_t failures_ B2_GUARDED_BY(mutex_) = 0;
  std::optional<HostError> untold_ B2_GUARDED_BY(mutex_);  // it may be the only one
  Workers workers_;
};

}  // namespace b2drive
