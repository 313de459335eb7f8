#pragma once

#include <string>

#include "host/common/errors.h"

namespace b2drive {

// A failure as a program on the mount sees it, an errno, and as a user reads it.
class FsError : public HostError {
 public:
  FsError(int number, const std::string& text, bool lasting = false)
      : FsError(number, HostError(ExitCode::kFailed, text), lasting) {}
  FsError(int number, const HostError& cause, bool lasting = false)
      : HostError(cause), number_(number), lasting_(lasting) {}

  int number() const { return number_; }
  // Whether the same call is refused at any later time, too.
  bool lasting() const { return lasting_; }

 private:
  int number_;
  bool lasting_;
};

}  // namespace b2drive
