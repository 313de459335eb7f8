#include "engine/log_relay.h"

#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <memory>

#include "util/free_with.h"

void LogRelay::Log(LOGLEVEL level, const char* format, std::va_list arguments) {
  char* raw = nullptr;
  if (vasprintf(&raw, format, arguments) < 0) return;
  const std::unique_ptr<char, util::FreeWith<std::free>> text(raw);
  const base::Lock lock(mutex_);
  lines_.emplace_back(level, text.get());
}

void LogRelay::Release() {
  const base::Lock lock(mutex_);
  released_ = lines_.size();
}

// The host's log is called without the lock: it may take its time.
void LogRelay::Deliver(bool all) {
  std::vector<std::pair<LOGLEVEL, std::string>> lines;
  {
    const base::Lock lock(mutex_);
    const auto end = lines_.begin() + static_cast<std::ptrdiff_t>(all ? lines_.size() : released_);
    lines.assign(std::make_move_iterator(lines_.begin()), std::make_move_iterator(end));
    lines_.erase(lines_.begin(), end);
    released_ = 0;
  }
  for (const auto& [level, text] : lines) __LOG__A(logger, level, "%s", text.c_str());
}
