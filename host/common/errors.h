#pragma once

#include <span>
#include <stdexcept>
#include <string>

#include "protocol/aerror.h"

namespace b2drive {

// The program's exit codes. Scripts rely on the numbers: never renumber, only add.
enum class ExitCode : int {
  kSuccess = 0,
  kFailed = 1,
  kUsage = 2,
  kNoCaBundle = 3,
  kNoPlugin = 4,
  kNoAccount = 5,
  kSignInRefused = 6,
  kNotFound = 7,
  kAccessDenied = 8,
  kExists = 9,
  kNotEmpty = 10,
  kWrongKind = 11,
  kNetwork = 12,
  kLocalFile = 13,
  kNotConfirmed = 14,
  kWouldDeleteMore = 15,
  kPartly = 16,
  kInterrupted = 130,
  kBrokenPipe = 141,
};

struct ExitCodeText {
  ExitCode code;
  const char* meaning;
};

// All codes with their meanings, for the help text.
std::span<const ExitCodeText> ExitCodes();

// A failure as a user reads it: "SUBJECT: cause", one line, and the exit code that goes with it.
class HostError : public std::runtime_error {
 public:
  HostError(ExitCode exit_code, const std::string& text, AERROR code = AERROR::FAILED)
      : std::runtime_error(text), exit_code_(exit_code), code_(code) {}

  ExitCode exit_code() const { return exit_code_; }
  // The plug-in's result behind the failure; FAILED when the plug-in was not asked.
  AERROR code() const { return code_; }

 private:
  ExitCode exit_code_;
  AERROR code_;
};

// The failure of a system call on a local file, with the text of `error_number`.
HostError LocalFailure(const std::string& subject, int error_number);

HostError Interrupted(const std::string& subject);

}  // namespace b2drive
