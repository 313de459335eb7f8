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

}  // namespace

Diagnosis Diagnose(const HostError& error, const Answer& answer) {
  if (error.exit_code() == ExitCode::kSignInRefused) return {Remedy::kNone, EACCES};
  if (error.code() == AERROR::SHARING_VIOLATION) return {Remedy::kNone, ESTALE};
  if (error.code() == AERROR::TIMEDOUT) return {Remedy::kWait, ETIMEDOUT};
  if (!answer.transport.empty()) return {Remedy::kWait, EIO};
  const auto* row = std::ranges::find(kStatuses, answer.status, &Row::status);
  if (row != kStatuses.end()) return row->diagnosis;
  // An answer that says yes and yet makes no sense was cut or garbled on its way.
  bool passes = answer.status >= 500 || answer.status < 400;
  return {passes ? Remedy::kWait : Remedy::kNone, EIO};
}

}  // namespace b2drive
