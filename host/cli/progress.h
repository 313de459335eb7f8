#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>

#include "host/common/retry.h"
#include "host/plugin/transfers.h"

namespace b2drive {

// One line of at most `columns` columns: name, percentage, bar, bytes, rate (bytes per second) and
// time left. The name gives way first.
std::string ProgressLine(const std::string& name, std::int64_t done, std::int64_t total,
                         double rate, int columns);

// Shows the progress of `transfers` on the terminal behind standard error while it lives, and
// leaves nothing behind. Without a terminal it does nothing.
class ProgressBar {
 public:
  ProgressBar(const Transfers& transfers, std::string name, std::int64_t total_bytes);
  ~ProgressBar();
  // More was found that is to be moved. Any thread may call.
  void Expect(std::int64_t bytes, std::size_t files);

  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

 private:
  void Run();

  const Transfers& transfers_;
  const std::string name_;
  std::atomic<std::int64_t> total_;
  const std::int64_t before_;  // bytes that earlier transfers moved
  Pauses pauses_;              // between paintings
  std::thread painter_;
};

}  // namespace b2drive
