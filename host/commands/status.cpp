#include "host/commands/commands.h"
#include "host/mount/process/run_mount.h"

namespace b2drive::cli {
namespace {

struct StatusArguments {
  std::string mountpoint;
};

ExitCode Status(Context&, const StatusArguments& arguments) {
  return mount::PrintStatus(arguments.mountpoint);
}

}  // namespace

void AddStatusCommand(CLI::App& app, Selected& selected) {
  auto arguments = std::make_shared<StatusArguments>();
  CLI::App* status = app.add_subcommand("status", "Show what a mount has not sent yet");
  status->add_option("MOUNTPOINT", arguments->mountpoint, "Where it is mounted")->required();
  Choose(status, selected, arguments, Status);
}

}  // namespace b2drive::cli
