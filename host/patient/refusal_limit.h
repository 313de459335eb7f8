#pragma once

#include <optional>

#include "host/common/retry.h"
#include "host/patient/upload_control.h"
#include "host/plugin/answer_watch.h"

namespace b2drive {

// Who can look whether an upload was stored after all.
enum class Doubt { kLook, kSendAgain };

// How a plug-in's own repetition of an upload is kept in bounds.
struct RefusalRules {
  Attempts attempts;
  Doubt doubt = Doubt::kSendAgain;
  // Whether the plug-in bounds by itself how often it repeats parts of large files; their refusals
  // are not counted then, and leave no doubt.
  bool parts_are_bounded = true;
};

// The plug-in sends a refused upload again at once and for ever. While this lives it waits between
// the attempts of the calling thread's upload, and gives the transfer up when there are no more, or
// when the file may be stored in spite of the refusal and the caller can look.
class RefusalLimit {
 public:
  // Both must outlive the object. `control` is told when a large file is begun.
  RefusalLimit(const ActiveTransfer& transfer, UploadControl& control, const RefusalRules& rules);

  // The refusal after which the transfer was given up.
  const std::optional<Answer>& last_straw() const { return last_straw_; }
  // Whether another attempt may follow once the caller has looked.
  bool in_doubt() const { return in_doubt_; }

 private:
  void Note(const Answer& answer);
  bool IsRepeated(const Answer& answer) const;
  bool MayBeStored(const Answer& answer) const;

  const ActiveTransfer& transfer_;
  UploadControl& control_;
  RefusalRules rules_;
  bool in_doubt_ = false;
  std::optional<Answer> last_straw_;
  AnswerWatch watch_;
};

}  // namespace b2drive
