#include "emulator/fault_plan.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace emulator {
namespace {

void Require(bool fits, const char* rule) {
  if (!fits) throw std::invalid_argument(rule);
}

}  // namespace

void CheckDelay(std::chrono::milliseconds delay) {
  Require(delay.count() >= 0 && delay <= kLongestDelay, "delays are from 0 to 24 hours");
}

void CheckFault(const Fault& fault) {
  const int status = fault.status;
  Require(status == 0 || (status >= 100 && status <= 599), "status must be from 100 to 599");
  CheckDelay(fault.delay);
  Require(std::ranges::none_of(fault.replace, [](const auto& pair) { return pair.first.empty(); }),
          "the text to replace must not be empty");
  const uint64_t blanks = fault.gzip_blanks.value_or(2);
  Require(blanks >= 2 && blanks <= Fault::kMostBlanks, "gzip_blanks must be from 2 to 2^40");
}

void FaultPlan::Add(Fault fault) {
  CheckFault(fault);
  base::Lock lock(mutex_);
  if (fault.times != 0) faults_.push_back(std::move(fault));
}

void FaultPlan::Clear() {
  base::Lock lock(mutex_);
  faults_.clear();
}

std::optional<Fault> FaultPlan::Take(const std::string& call) {
  base::Lock lock(mutex_);
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
