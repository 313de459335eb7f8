#pragma once

#include <chrono>
#include <string>

#include "base/thread_safety.h"
#include "protocol/host_interfaces.h"

class BackBlazeB2;

// The account's information. Making one authorizes its protocol object, which must outlive it.
class About : public IAsyncObj {
 public:
  // Throws AERROR::ACCESS_VIOLATION when the account is not authorized.
  explicit About(BackBlazeB2* protocol);

  // Authorizes; throws as the constructor does.
  void Process(void* context) override;
  void Canceled(void* context) override;
  // The account's storage in bytes: the fixed answer that the protocol object gives too, since the
  // service has no call for it. Null pointers are skipped.
  virtual AERROR GetQuota(unsigned long long* total, unsigned long long* used);

  // The service tells neither; both are empty.
  std::string GetName();
  std::string GetEMail();

 private:
  std::string name_ B2_GUARDED_BY(mutex_);
  std::string e_mail_ B2_GUARDED_BY(mutex_);
  base::Mutex mutex_;
  // A day ago at first, so that it is stale.
  std::chrono::steady_clock::time_point refreshed_ B2_GUARDED_BY(mutex_);
  BackBlazeB2* protocol_;
};
