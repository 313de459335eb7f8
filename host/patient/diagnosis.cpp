#include "host/patient/diagnosis.h"

#include <algorithm>
#include <array>
#include <cerrno>

namespace b2drive {
namespace {

struct Row {
  int status;
  Diagnosis diagnosis;
};

constexpr std::array kStatuses = {
    Row{401, {Remedy::kNewSession, EACCES}}, Row{403, {Remedy::kNone, EACCES}},
    Row{404, {Remedy::kNone, ENOENT}},       Row{408, {Remedy::kWait, ETIMEDOUT}},
    Row{429, {Remedy::kWait, EIO}},
};

// Failures of this machine's, which a repetition meets again.
constexpr std::array kLocal = {ExitCode::kInterrupted, ExitCode::kLocalFile, ExitCode::kNoAccount,
                               ExitCode::kNoCaBundle,  ExitCode::kNoPlugin,  ExitCode::kUsage};

// libcurl's: a URL that it does not take, a certificate that is not trusted.
constexpr std::array kHopeless = {"(1)", "(3)", "(51)", "(58)", "(60)", "(77)", "(83)", "(90)"};

bool IsHopeless(const std::string& transport) {
  return std::ranges::any_of(kHopeless,
                             [&](const char* code) { return transport.ends_with(code); });
}

}  // namespace

Diagnosis Diagnose(const HostError& error, const Answer& answer) {
  if (error.exit_code() == ExitCode::kSignInRefused) return {Remedy::kNone, EACCES};
  if (std::ranges::count(kLocal, error.exit_code()) > 0) return {Remedy::kNone, EIO};
  if (error.code() == AERROR::SHARING_VIOLATION) return {Remedy::kNone, ESTALE};
  if (error.code() == AERROR::TIMEDOUT) return {Remedy::kWait, ETIMEDOUT};
  if (IsHopeless(answer.transport)) return {Remedy::kNone, EIO};
  if (!answer.transport.empty()) return {Remedy::kWait, EIO};
  const auto* row = std::ranges::find(kStatuses, answer.status, &Row::status);
  if (row != kStatuses.end()) return row->diagnosis;
  // An answer that says yes and yet makes no sense was cut or garbled on its way.
  bool passes = answer.status >= 500 || answer.status < 400;
  return {passes ? Remedy::kWait : Remedy::kNone, EIO, !passes};
}

std::string ReasonOf(const HostError& error, const Answer& answer) {
  if (!answer.transport.empty()) return answer.transport;
  if (error.code() == AERROR::TIMEDOUT) return "no answer in time";
  if (answer.status < 400) return "an answer that makes no sense";
  return "the service answered " + std::to_string(answer.status);
}

}  // namespace b2drive
