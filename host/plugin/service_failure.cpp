#include "host/plugin/service_failure.h"

#include <algorithm>
#include <array>

namespace b2drive {
namespace {

struct StatusRow {
  int status;
  ExitCode exit_code;
  const char* advice;
};

constexpr std::array kStatuses = {
    StatusRow{400, ExitCode::kFailed, "it does not accept the request or the name"},
    StatusRow{401, ExitCode::kAccessDenied,
              "check the application key and what it may do; sessions end after 24 hours"},
    StatusRow{403, ExitCode::kAccessDenied, "access denied, or a limit of the account is reached"},
    StatusRow{404, ExitCode::kNotFound, "not found"},
    StatusRow{407, ExitCode::kNetwork, "the proxy wants a user and a password"},
    StatusRow{408, ExitCode::kNetwork, "the request took too long; try again"},
    StatusRow{409, ExitCode::kFailed, "something else changed it at the same time; try again"},
    StatusRow{416, ExitCode::kFailed, "the file has no such range"},
    StatusRow{429, ExitCode::kFailed, "too many requests; try again later"},
    StatusRow{500, ExitCode::kFailed, "an error of the service; try again later"},
    StatusRow{503, ExitCode::kFailed, "the service is busy; try again later"},
};

struct CodeRow {
  AERROR code;
  ExitCode exit_code;
  const char* cause;
};

constexpr std::array kCodes = {
    CodeRow{AERROR::FILE_NOT_FOUND, ExitCode::kNotFound, "not found"},
    CodeRow{AERROR::PATH_NOT_FOUND, ExitCode::kNotFound, "not found"},
    CodeRow{AERROR::ACCESS_DENIED, ExitCode::kAccessDenied, "not allowed here"},
    CodeRow{AERROR::NO_ACCESS, ExitCode::kAccessDenied, "not allowed here"},
    CodeRow{AERROR::ALREADY_EXISTS, ExitCode::kExists, "exists already"},
    CodeRow{AERROR::DIR_NOT_EMPTY, ExitCode::kNotEmpty, "the folder is not empty"},
    CodeRow{AERROR::SHARING_VIOLATION, ExitCode::kFailed,
            "changed meanwhile by someone else; nothing was deleted"},
    CodeRow{AERROR::TIMEDOUT, ExitCode::kNetwork,
            "the service did not answer in time; check the network and try again"},
    CodeRow{AERROR::INVALID_PARAMETER, ExitCode::kUsage,
            "the service takes no such name, content type or information"},
    CodeRow{AERROR::NOT_SUPPORTED, ExitCode::kFailed, "the plug-in does not offer this"},
};

// The row for a status; a status without one is judged by its class.
const StatusRow& FindStatus(int status) {
  auto row_of = [](int wanted) { return std::ranges::find(kStatuses, wanted, &StatusRow::status); };
  auto row = row_of(status);
  return row != kStatuses.end() ? *row : *row_of(status >= 500 ? 500 : 400);
}

struct Judgement {
  ExitCode exit_code;
  std::string cause;
};

std::string AdviceFor(const Answer& answer) {
  constexpr std::string_view kUntrusted = "(60)";  // libcurl's code
  return answer.transport.ends_with(kUntrusted)
             ? "--ca-file or SSL_CERT_FILE names the certificates to trust"
             : "check network and proxy";
}

Judgement Judge(AERROR code, const Answer& answer) {
  if (code == AERROR::READ_CANCELED || code == AERROR::UPLOAD_CANCELED) {
    return {ExitCode::kInterrupted, "canceled"};
  }
  auto row = std::ranges::find(kCodes, code, &CodeRow::code);
  if (row != kCodes.end()) return {row->exit_code, row->cause};
  if (!answer.transport.empty()) {
    return {ExitCode::kNetwork,
            "the service cannot be reached: " + answer.transport + "; " + AdviceFor(answer)};
  }
  if (answer.status >= 400) {
    const StatusRow& found = FindStatus(answer.status);
    return {found.exit_code,
            "the service answered " + std::to_string(answer.status) + ": " + found.advice};
  }
  if (answer.status > 0) return {ExitCode::kFailed, "the service's answer makes no sense"};
  return {ExitCode::kFailed, "failed"};
}

}  // namespace

HostError ServiceFailure(const std::string& path, AERROR code, const Answer& answer) {
  const Judgement judgement = Judge(code, answer);
  return {judgement.exit_code, path, judgement.cause + " (" + GetAERRORA(code) + ")", code};
}

HostError NotFound(const std::string& path) {
  return ServiceFailure(path, AERROR::FILE_NOT_FOUND, {});
}

}  // namespace b2drive
