#pragma once

namespace b2drive {

enum class ProgressStyle { kNone, kBar, kJson };

// What the program prints beside a command's result, and how.
struct OutputStyle {
  bool json = false;     // a JSON record a line, on both streams
  bool verbose = false;  // each change and each wait, and a summary
  bool quiet = false;    // failures only
  ProgressStyle progress = ProgressStyle::kNone;
};

// One for the process; set before its threads are made.
void SetOutputStyle(const OutputStyle& style);
const OutputStyle& TheOutputStyle();

}  // namespace b2drive
