#include "tests/support/recording_log.h"

#include <algorithm>
#include <cstdio>
#include <utility>

void RecordingLog::Log(LOGLEVEL level, const char* format, std::va_list arguments) {
  std::va_list measured;
  va_copy(measured, arguments);
  std::string text(static_cast<std::size_t>(std::vsnprintf(nullptr, 0, format, measured)), '\0');
  va_end(measured);
  std::vsnprintf(text.data(), text.size() + 1, format, arguments);
  const std::lock_guard lock(mutex_);
  lines_.push_back(std::to_string(level) + " " + text);
}

std::vector<std::string> RecordingLog::Take() {
  const std::lock_guard lock(mutex_);
  return std::exchange(lines_, {});
}

bool RecordingLog::Contains(const std::string& text) {
  const std::lock_guard lock(mutex_);
  return std::any_of(lines_.begin(), lines_.end(),
                     [&](const std::string& line) { return line.find(text) != std::string::npos; });
}
