#include "b2/about.h"

#include "b2/backblaze_b2.h"

About::About(BackBlazeB2* protocol)
    : refreshed_(std::chrono::steady_clock::now() - std::chrono::hours(24)), protocol_(protocol) {
  About::Process(nullptr);
}

void About::Process(void*) {
  // One code for every reason: hosts do not tell wrong credentials from an unreachable service.
  if (protocol_->AuthorizeAccount() != AERROR::SUCCESS) throw AERROR::ACCESS_VIOLATION;
  const base::Lock lock(mutex_);
  refreshed_ = std::chrono::steady_clock::now();
}

// Nothing runs in the background that could be given up.
void About::Canceled(void*) {}

AERROR About::GetQuota(unsigned long long* total, unsigned long long* used) {
  return protocol_->GetQuota(total, used);
}

std::string About::GetName() {
  const base::Lock lock(mutex_);
  return name_;
}

std::string About::GetEMail() {
  const base::Lock lock(mutex_);
  return e_mail_;
}
