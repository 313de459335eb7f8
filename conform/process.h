#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

// Processes that the kit starts: a case, which tells what it finds through a pipe, and the
// emulator.
namespace conform {

using Arguments = std::vector<std::string>;

struct Finding {
  std::string what, expected, got;
};

// How a case's process ended.
struct Outcome {
  std::vector<Finding> findings;
  std::string output;  // what it printed, its last part only

  bool passed() const { return findings.empty(); }
};

// Runs a program in a process group of its own, which is killed when the program has ended, or
// after `limit`. A process that crashes, hangs or ends before it has said that it is done is a
// finding.
Outcome RunCase(const Arguments& command, std::chrono::seconds limit);

// In a case's process: tells the one that started it, and that no more comes.
void SendFinding(const Finding& finding);
void SendDone();

// A program that runs until the object goes.
class Companion {
 public:
  // Waits for the first line that it prints. Throws std::runtime_error when none comes.
  explicit Companion(const Arguments& command);
  ~Companion();
  Companion(const Companion&) = delete;
  Companion& operator=(const Companion&) = delete;

  const std::string& line() const { return line_; }

 private:
  pid_t pid_ = -1;
  std::string line_;
};

}  // namespace conform
