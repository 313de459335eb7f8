#pragma once

#include <stdexcept>
#include <string>

#include "host/answer.h"
#include "host/errors.h"

namespace b2drive::mount {

// A failure as a program on the mount sees it: an errno, and a text for the log.
class FsError : public std::runtime_error {
 public:
  FsError(int number, const std::string& text, bool lasting = false)
      : std::runtime_error(text), number_(number), lasting_(lasting) {}
  int number() const { return number_; }
  // Whether the same call is refused at any later time, too.
  bool lasting() const { return lasting_; }

 private:
  int number_;
  bool lasting_;
};

// What the failure of a call means for the caller.
enum class Remedy {
  kNone,       // the same call will fail again
  kWait,       // it may succeed later: transport, 408, 429, 5xx
  kNewSession  // the session's token is no longer accepted
};

struct Diagnosis {
  Remedy remedy = Remedy::kNone;
  int number = 0;  // errno, if nothing helps
};

// `answer` is what the service last said on the thread that made the call.
Diagnosis Diagnose(const HostError& error, const Answer& answer);

}  // namespace b2drive::mount
