#pragma once

#include <cstdint>
#include <list>
#include <string>
#include <thread>

#include "host/common/retry.h"
#include "host/common/thread_safety.h"
#include "host/plugin/transfers.h"
#include "host/terminal/json.h"

namespace b2drive {

// How far a command is at a moment.
struct ProgressState {
  std::string name;  // of what is in work
  std::int64_t done = 0;
  std::int64_t total = 0;  // bytes
  double rate = 0;         // bytes per second
  std::size_t files_done = 0;
  std::size_t files = 0;
};

// One line of less than `columns` columns: of many files how many are done, name, percentage, bar,
// bytes, rate and time left; without the last three where there are no bytes to move. Where it is
// narrow the name gives way first, then the bar.
std::string ProgressLine(const ProgressState& state, int columns);

// {"progress": {name, done, total, rate, left, files_done, files}}; left in seconds, null when
// unknown.
Json ProgressRecord(const ProgressState& state);

// Shows the progress of `transfers` while it lives, as the program's output style says: a bar on
// the terminal behind standard error, which leaves nothing behind, or records a few times a second.
class ProgressBar {
 public:
  // `name` is shown while no File lives.
  ProgressBar(const Transfers& transfers, std::string name, std::int64_t total_bytes,
              std::size_t files = 1);
  ~ProgressBar();
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  // More was found that is to be moved. Any thread may call.
  void Expect(std::int64_t bytes, std::size_t files);

  // A file in work; when its life ends, it is done. Any thread may make one.
  class File {
   public:
    File(ProgressBar& bar, const std::string& name);
    ~File();
    File(const File&) = delete;
    File& operator=(const File&) = delete;

   private:
    ProgressBar& bar_;
    std::list<std::string>::iterator position_;
  };

 private:
  void Run();
  // The state without the rate.
  ProgressState Now();

  const Transfers& transfers_;
  const std::string name_;
  const std::int64_t before_;  // bytes that earlier transfers moved
  Mutex mutex_;
  ProgressState expected_ B2_GUARDED_BY(mutex_);
  std::list<std::string> in_work_ B2_GUARDED_BY(mutex_);  // the longest first
  Pauses pauses_;                                         // between paintings
  std::thread painter_;
};

}  // namespace b2drive
