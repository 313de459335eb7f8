#include "host/common/errors.h"

#include <array>
#include <system_error>

namespace b2drive {
namespace {

constexpr std::array kExitCodes = {
    ExitCodeText{ExitCode::kSuccess, "success"},
    ExitCodeText{ExitCode::kFailed, "any failure without a code of its own"},
    ExitCodeText{ExitCode::kUsage, "wrong arguments"},
    ExitCodeText{ExitCode::kNoCaBundle, "../Frameworks/cacert.pem beside bin/ is missing"},
    ExitCodeText{ExitCode::kNoPlugin, "the plug-in library cannot be used"},
    ExitCodeText{ExitCode::kNoAccount, "no account, or an unusable account file"},
    ExitCodeText{ExitCode::kSignInRefused, "the service refused to sign in"},
    ExitCodeText{ExitCode::kNotFound, "no such bucket, folder or file"},
    ExitCodeText{ExitCode::kAccessDenied, "the service or the plug-in denied access"},
    ExitCodeText{ExitCode::kExists, "exists already"},
    ExitCodeText{ExitCode::kNotEmpty, "the folder or bucket is not empty"},
    ExitCodeText{ExitCode::kWrongKind, "a folder where a file is needed, or the reverse"},
    ExitCodeText{ExitCode::kNetwork, "the service cannot be reached or does not answer"},
    ExitCodeText{ExitCode::kLocalFile, "a local file cannot be read or written"},
    ExitCodeText{ExitCode::kNotConfirmed, "a deletion was not confirmed"},
    ExitCodeText{ExitCode::kWouldDeleteMore, "the deletion could reach other names; see rm --help"},
    ExitCodeText{ExitCode::kPartly, "some of several items failed"},
    ExitCodeText{ExitCode::kInterrupted, "interrupted"},
    ExitCodeText{ExitCode::kBrokenPipe, "the reader of standard output went away"},
};

}  // namespace

std::span<const ExitCodeText> ExitCodes() { return kExitCodes; }

HostError LocalFailure(const std::string& path, int error_number) {
  return {ExitCode::kLocalFile, path, std::generic_category().message(error_number)};
}

HostError Interrupted(const std::string& path) {
  return {ExitCode::kInterrupted, path, "interrupted", AERROR::CANCEL};
}

}  // namespace b2drive
