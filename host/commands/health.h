#pragma once

#include <functional>
#include <string>
#include <vector>

namespace b2drive::cli {

// What cannot be tried without something that failed before is skipped.
enum class Health { kOk, kWarning, kFailed, kSkipped };

// What a check found, in one line without anything secret.
struct Finding {
  Health health = Health::kOk;
  std::string text;
  std::string advice;  // what to do; empty when nothing is to be done
};

struct Check {
  const char* name;
  std::function<Finding()> look;  // may throw, which is a failure
};

// The checks of this machine, which need neither account nor service.
std::vector<Check> MachineChecks();

#ifdef B2_WITH_MOUNT
Finding LookAtFuse();
Finding LookAtCacheFolder();
#endif

// Whether somebody listens at `host` and `port`: a connection is made and closed again.
Finding LookAtProxy(const std::string& host, const std::string& port);
Finding LookAtNames();

}  // namespace b2drive::cli
