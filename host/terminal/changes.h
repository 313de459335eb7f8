#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "host/common/errors.h"
#include "host/common/thread_safety.h"
#include "host/terminal/json.h"

namespace b2drive {

// What a command did to one name.
struct Change {
  std::string action;                 // put, get, rm, rmdir or mkdir
  std::string path;                   // on the drive; empty: only here
  std::string local;                  // on this machine, - for a standard stream; empty: only there
  std::optional<std::uint64_t> size;  // bytes; none for a folder
  std::string id;                     // the identifier; empty when unknown
  bool planned = false;               // would be done, but is not
};

// Tells what a command changes: each change once, and at the end how many there were. With JSON a
// record a line on standard output; when verbose a line on standard error; otherwise nothing but
// the summary, on a terminal. What is only planned is the command's result and goes to standard
// output in each case. Any number of threads may call.
class Changes {
 public:
  void Tell(const Change& change);

  // The command is one that changes things: it gets a summary also when there was nothing to do.
  void Expect();
  // Standard output is for a file's contents: records go to standard error.
  void LeaveStandardOutput();

  // The last line. `moved` is how many bytes went over the network, which may be less than the
  // files' sizes, or more.
  void Summarize(ExitCode exit_code, std::int64_t moved);

 private:
  struct Count {
    std::size_t files = 0;
    std::size_t folders = 0;
  };

  void PrintRecord(const Json& record) B2_REQUIRES(mutex_);
  std::string SummaryText(double seconds, std::int64_t moved) const B2_REQUIRES(mutex_);
  Json SummaryRecord(double seconds, std::int64_t moved) const B2_REQUIRES(mutex_);
  bool ShowsSummary(ExitCode exit_code) const B2_REQUIRES(mutex_);

  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  Mutex mutex_;
  bool expected_ B2_GUARDED_BY(mutex_) = false;
  bool planned_ B2_GUARDED_BY(mutex_) = false;
  bool standard_output_ B2_GUARDED_BY(mutex_) = true;
  std::map<std::string, Count> counts_ B2_GUARDED_BY(mutex_);  // by action
  std::uint64_t bytes_ B2_GUARDED_BY(mutex_) = 0;              // of files stored and fetched
};

}  // namespace b2drive
