#include "host/patient/refusal_limit.h"

namespace b2drive {

RefusalLimit::RefusalLimit(const ActiveTransfer& transfer, UploadControl& control,
                           const RefusalRules& rules)
    : transfer_(transfer),
      control_(control),
      rules_(rules),
      watch_([this](const Answer& answer) { Note(answer); }) {}

// What the plug-in answers with another attempt. It waits out 429 itself.
bool RefusalLimit::IsRepeated(const Answer& answer) const {
  if (rules_.parts_are_bounded && !answer.IsOfSingleUpload()) return false;
  return answer.status == 401 || answer.status == 408 || answer.status == 500;
}

// A URL that served before is replaced after any failure of the service's.
bool RefusalLimit::MayBeStored(const Answer& answer) const {
  if (rules_.doubt != Doubt::kLook) return false;
  const bool by_one_request = rules_.parts_are_bounded && answer.IsOfSingleUpload();
  return by_one_request ? answer.status >= 500 : IsRepeated(answer) && answer.status == 500;
}

void RefusalLimit::Note(const Answer& answer) {
  if (answer.large_files_begun > 0 || answer.IsOfLargeFile()) control_.NoteBegun();
  if (last_straw_) return;
  in_doubt_ = MayBeStored(answer);
  if (!in_doubt_ && !IsRepeated(answer)) return;
  const std::string reason = "the service answered " + std::to_string(answer.status);
  if (!in_doubt_ && rules_.attempts.WaitForNext(reason)) return;
  last_straw_ = answer;
  transfer_.state().state = TRANSFER_CANCELED;
}

}  // namespace b2drive
