#include "host/patient/refusal_limit.h"

namespace b2drive {
namespace {

// What the plug-in answers with another attempt. It waits out 429 itself.
bool IsRepeated(int status) { return status == 401 || status == 408 || status == 500; }

}  // namespace

RefusalLimit::RefusalLimit(const ActiveTransfer& transfer, UploadControl& control,
                           Attempts attempts, Doubt doubt)
    : transfer_(transfer),
      control_(control),
      attempts_(attempts),
      doubt_(doubt),
      watch_([this](const Answer& answer) { Note(answer); }) {}

void RefusalLimit::Note(const Answer& answer) {
  if (answer.large_files_begun > 0) control_.NoteBegun();
  if (!IsRepeated(answer.status)) return;
  in_doubt_ = answer.status == 500 && doubt_ == Doubt::kLook;
  if (!in_doubt_ && attempts_.WaitForNext("the service answered " + std::to_string(answer.status)))
    return;
  last_straw_ = answer;
  transfer_.state().state = TRANSFER_CANCELED;
}

}  // namespace b2drive
