#pragma once

#include <map>
#include <string>

// What the probe is told to do wrong: the environment variable B2PROBE, as
// "SLOT:MISDEED[=NUMBER][@CALL]", several separated by blanks. With CALL it is done at that call of
// the slot only, counted from 1.
namespace probe {

// Of one call of a slot.
class Orders {
 public:
  // Counts the call. A line of an unknown form ends the process, so that a test never passes for
  // it.
  explicit Orders(const std::string& slot);

  bool Has(const std::string& misdeed) const { return misdeeds_.contains(misdeed); }
  // What stands behind the "=", else `otherwise`.
  long Number(const std::string& misdeed, long otherwise) const;

 private:
  std::map<std::string, long> misdeeds_;
};

// Ends the process as a crash would.
[[noreturn]] void Die();

}  // namespace probe
