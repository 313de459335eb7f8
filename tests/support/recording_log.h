#pragma once

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "protocol/host_interfaces.h"

// Keeps every line as "LEVEL text". For any number of threads.
class RecordingLog final : public ILog {
 public:
  void SetLevels(std::int32_t) override {}
  bool IsNetworkTraceEnabled() override { return trace; }
  void Log(LOGLEVEL level, const char* format, std::va_list arguments) override {
    char* text = nullptr;
    if (vasprintf(&text, format, arguments) < 0) std::abort();
    const std::lock_guard lock(mutex_);
    lines_.push_back(std::to_string(level) + " " + text);
    if (std::this_thread::get_id() != own_) ++of_other_threads;
    std::free(text);
  }

  std::vector<std::string> Take() {
    const std::lock_guard lock(mutex_);
    return std::exchange(lines_, {});
  }
  // Lines that contain a text.
  std::ptrdiff_t Count(const std::string& text) {
    const std::lock_guard lock(mutex_);
    return std::ranges::count_if(lines_,
                                 [&](const auto& line) { return line.find(text) != line.npos; });
  }
  bool Contains(const std::string& text) { return Count(text) > 0; }

  bool trace = false;
  std::atomic<int> of_other_threads = 0;  // than the one that made it

 private:
  const std::thread::id own_ = std::this_thread::get_id();
  std::mutex mutex_;
  std::vector<std::string> lines_;
};
