#include "emulator/fault_plan.h"

#include <utility>

namespace emulator {

void FaultPlan::Add(Fault fault) {
  std::lock_guard lock(mutex_);
  if (fault.times != 0) faults_.push_back(std::move(fault));
}

void FaultPlan::Clear() {
  std::lock_guard lock(mutex_);
  faults_.clear();
}

std::optional<Fault> FaultPlan::Take(const std::string& call) {
  std::lock_guard lock(mutex_);
  for (auto fault = faults_.begin(); fault != faults_.end(); ++fault) {
    if (!fault->call.empty() && fault->call != call) continue;
    if (fault->skip > 0) {
      --fault->skip;
      continue;
    }
    Fault taken = *fault;
    if (fault->times > 0 && --fault->times == 0) faults_.erase(fault);
    return taken;
  }
  return std::nullopt;
}

}  // namespace emulator
