#pragma once

#include "host/plugin/host_log.h"

namespace b2drive {

// Shows `watcher` every answer of the service on the calling thread while it lives. One at a time
// on a thread.
class AnswerWatch {
 public:
  explicit AnswerWatch(HostLog::Watcher watcher) { HostLog::WatchAnswers(std::move(watcher)); }
  ~AnswerWatch() { HostLog::WatchAnswers({}); }
  AnswerWatch(const AnswerWatch&) = delete;
  AnswerWatch& operator=(const AnswerWatch&) = delete;
};

inline bool IsRefusal(const Answer& answer) {
  return answer.status >= 400 || !answer.transport.empty();
}

}  // namespace b2drive
