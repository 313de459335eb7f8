#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace conform {

struct RunOptions {
  std::string plugin, emulator;    // files
  std::vector<std::string> only;   // shell patterns of names; empty: all
  bool slow = false;               // the slow ones, too
  int jobs = 2;                    // cases at a time
  std::chrono::seconds limit{30};  // for a case; slow ones get four times that
};

// Runs the cases, each in a process of its own, and prints what came of them in their order, as TAP
// 13. Whether none failed. Throws std::invalid_argument when no case is chosen.
bool RunCases(const RunOptions& options);

// In such a process: one case. Throws std::invalid_argument when there is none of that name.
void RunThisCase(const std::string& name, const std::string& plugin, const std::string& emulator);

void ListCases(const std::vector<std::string>& only);

}  // namespace conform
