#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "base/thread_safety.h"
#include "protocol/host_interfaces.h"
#include "protocol/log.h"

// Keeps the lines of a thread that the module started until the thread that serves the host's call
// hands them on: a host tells by the thread whose call a line belongs to.
class LogRelay final : public ILog {
 public:
  void SetLevels(std::int32_t) override {}
  bool IsNetworkTraceEnabled() override { return false; }
  void Log(LOGLEVEL level, const char* format, std::va_list arguments) override;

  // From now on what has been kept may be delivered.
  void Release();
  // Writes the released lines, or all, to the host's log, in their order.
  void Deliver(bool all);

 private:
  base::Mutex mutex_;
  std::vector<std::pair<LOGLEVEL, std::string>> lines_ B2_GUARDED_BY(mutex_);
  std::size_t released_ B2_GUARDED_BY(mutex_) = 0;
};

// Sends the calling thread's lines there while it lives.
class RelayedHere {
 public:
  explicit RelayedHere(LogRelay& relay) { RelayLog(&relay); }
  ~RelayedHere() { RelayLog(nullptr); }
  RelayedHere(const RelayedHere&) = delete;
  RelayedHere& operator=(const RelayedHere&) = delete;
};
