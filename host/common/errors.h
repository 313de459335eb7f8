#pragma once

#include <span>
#include <stdexcept>
#include <string>
#include <utility>

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
      : HostError(text, exit_code, {}, code) {}
  // "PATH: cause".
  HostError(ExitCode exit_code, const std::string& path, const std::string& cause,
            AERROR code = AERROR::FAILED)
      : HostError(path + ": " + cause, exit_code, path, code) {}

  // The same failure with another path, and with another text.
  HostError About(const std::string& path) const { return {what(), exit_code_, path, code_}; }
  HostError Saying(const std::string& text) const { return {text, exit_code_, path_, code_}; }

  ExitCode exit_code() const { return exit_code_; }
  // What it is about, on the service or on this machine; empty when it is about neither.
  const std::string& path() const { return path_; }
  // The plug-in's result behind the failure; FAILED when the plug-in was not asked.
  AERROR code() const { return code_; }

 private:
  HostError(const std::string& text, ExitCode exit_code, std::string path, AERROR code)
      : std::runtime_error(text), exit_code_(exit_code), path_(std::move(path)), code_(code) {}

  ExitCode exit_code_;
  std::string path_;
  AERROR code_;
};

// The failure of a system call on a local file, with the text of `error_number`.
HostError LocalFailure(const std::string& path, int error_number);

HostError Interrupted(const std::string& path);

}  // namespace b2drive
