#include "host/cli/command.h"

#include "host/common/path.h"
#include "host/terminal/report.h"

namespace b2drive::cli {

ExitCode ForEach(const std::string& command, std::size_t count,
                 const std::function<void(std::size_t)>& action) {
  ExitCode result = ExitCode::kSuccess;
  for (std::size_t i = 0; i < count; ++i) {
    try {
      action(i);
    } catch (const HostError& error) {
      if (count == 1 || error.exit_code() == ExitCode::kInterrupted) throw;
      Report(command, error);
      result = ExitCode::kPartly;
    }
  }
  return result;
}

void CallForBucket(const std::string& path, const char* likely_reason,
                   const std::function<void()>& call) {
  try {
    call();
  } catch (const HostError& error) {
    if (!IsBucket(path) || error.exit_code() != ExitCode::kFailed) throw;
    throw error.Saying(std::string(error.what()) + "; " + likely_reason);
  }
}

}  // namespace b2drive::cli
