#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include "base/thread_safety.h"
#include "emulator/message.h"
#include "emulator/planned_answer.h"
#include "emulator/recording.h"

namespace emulator {

// Gives what was recorded as answers. Each recorded answer is given once, to the first request that
// is like its own; of equal requests, in their order. Safe for concurrent use.
class Playback {
 public:
  // Throws std::runtime_error for a file that no emulator has recorded.
  explicit Playback(const std::filesystem::path& path);

  // The account that authorize has answered; "" when it has not.
  std::string AccountId() const;

  // 400 not_recorded when there is no such request, or it has been made often enough. Throws
  // Aborted.
  PlannedAnswer Play(Incoming& incoming, BodySource& body);

  // What did not go as recorded so far, a line each; none when all of it has been played and
  // nothing else was asked.
  std::vector<std::string> Complaints() const;

 private:
  // Why nothing fits.
  std::string CauseFor(const RecordedRequest& request) const B2_REQUIRES(mutex_);

  mutable base::Mutex mutex_;
  std::vector<Recorded> recorded_ B2_GUARDED_BY(mutex_);
  std::vector<bool> played_ B2_GUARDED_BY(mutex_);
  std::vector<std::string> strangers_ B2_GUARDED_BY(mutex_);  // requests that nothing fitted
};

}  // namespace emulator
