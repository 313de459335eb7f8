#include "host/transfer/crew.h"

#include <utility>

#include "host/terminal/report.h"

namespace b2drive {

Crew::Crew(const Transfers& transfers, std::string command, std::string done, std::size_t expected,
           std::size_t threads)
    : transfers_(transfers),
      command_(std::move(command)),
      done_(std::move(done)),
      expected_(expected),
      workers_(threads) {}

void Crew::Run(std::function<void()> task) {
  AwaitRoom();
  workers_.Run([this, task = std::move(task)] {
    LeaveQueue();
    if (Try(task)) ++succeeded_;
  });
}

void Crew::AwaitRoom() {
  constexpr std::size_t kMost = 1000;
  Lock lock(mutex_);
  while (waiting_ >= kMost) room_.wait(lock);
  ++waiting_;
}

void Crew::LeaveQueue() {
  Lock lock(mutex_);
  --waiting_;
  room_.notify_one();
}

void Crew::RunUncounted(std::function<void()> task) {
  workers_.Run([this, task = std::move(task)] { Try(task); });
}

bool Crew::Try(const std::function<void()>& task) {
  if (transfers_.canceled()) return false;
  try {
    task();
    return true;
  } catch (const HostError& error) {
    Fail(error);
  } catch (const std::exception& error) {
    Fail({ExitCode::kFailed, error.what()});
  }
  return false;
}

void Crew::Fail(const HostError& error) {
  Lock lock(mutex_);
  if (++failures_ == 1 && expected_ <= 1) {
    untold_ = error;
    return;
  }
  TellFirst();
  Report(command_, error);
}

void Crew::TellFirst() {
  if (untold_) Report(command_, *untold_);
  untold_.reset();
}

std::string Crew::Count() const {
  return std::to_string(succeeded_) + " of " + std::to_string(expected_) + " " + done_;
}

ExitCode Crew::Finish() {
  workers_.Finish();
  Lock lock(mutex_);
  if (failures_ == 0 && succeeded_ == expected_) return ExitCode::kSuccess;
  if (expected_ <= 1 && untold_) throw HostError(*untold_);
  TellFirst();
  if (transfers_.canceled()) {
    throw HostError(ExitCode::kInterrupted, Count() + "; these stay, the rest was not done");
  }
  Report(command_, HostError(ExitCode::kPartly, Count()));
  return ExitCode::kPartly;
}

}  // namespace b2drive
