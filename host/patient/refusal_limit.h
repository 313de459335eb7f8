#pragma once

#include <atomic>
#include <optional>

#include "host/common/retry.h"
#include "host/plugin/answer_watch.h"
#include "host/plugin/transfers.h"

namespace b2drive {

// The plug-in sends a refused upload again at once and for ever. While this lives it waits between
// the attempts of the calling thread's upload, and gives the transfer up when there are no more.
class RefusalLimit {
 public:
  // `transfer` must outlive the object.
  RefusalLimit(const ActiveTransfer& transfer, Attempts attempts);

  // The refusal after which the transfer was given up.
  const std::optional<Answer>& last_straw() const { return last_straw_; }

  // Whether a large file was begun, which stays when the upload fails. Any thread may ask.
  bool large_file_begun() const { return large_file_begun_; }

 private:
  void Note(const Answer& answer);

  const ActiveTransfer& transfer_;
  Attempts attempts_;
  std::optional<Answer> last_straw_;
  std::atomic<bool> large_file_begun_{false};
  AnswerWatch watch_;
};

}  // namespace b2drive
