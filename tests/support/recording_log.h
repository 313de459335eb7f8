#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "protocol/host_interfaces.h"

// Keeps every line as "LEVEL text". For any number of threads.
class RecordingLog final : public ILog {
 public:
  void SetLevels(std::int32_t) override {}
  bool IsNetworkTraceEnabled() override { return trace; }
  void Log(LOGLEVEL level, const char* format, std::va_list arguments) override;

  std::vector<std::string> Take();
  bool Contains(const std::string& text);

  bool trace = false;

 private:
  std::mutex mutex_;
  std::vector<std::string> lines_;
};
