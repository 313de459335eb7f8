#pragma once

#include <optional>

#include "host/common/retry.h"
#include "host/patient/upload_control.h"
#include "host/plugin/answer_watch.h"

namespace b2drive {

// The plug-in sends a refused upload again at once and for ever. While this lives it waits between
// the attempts of the calling thread's upload, and gives the transfer up when there are no more.
class RefusalLimit {
 public:
  // Both must outlive the object. `control` is told when a large file is begun.
  RefusalLimit(const ActiveTransfer& transfer, UploadControl& control, Attempts attempts);

  // The refusal after which the transfer was given up.
  const std::optional<Answer>& last_straw() const { return last_straw_; }

 private:
  void Note(const Answer& answer);

  const ActiveTransfer& transfer_;
  UploadControl& control_;
  Attempts attempts_;
  std::optional<Answer> last_straw_;
  AnswerWatch watch_;
};

}  // namespace b2drive
