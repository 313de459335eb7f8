#include "host/commands/commands.h"
#include "host/mount/process/background.h"
#include "host/mount/process/options.h"
#include "host/mount/process/run_mount.h"

namespace b2drive::cli {
namespace {

struct MountArguments {
  std::string mountpoint;
  std::string options;
  bool foreground = false;
  std::optional<int> live_fd;
};

ExitCode Mount(Context& context, const MountArguments& arguments) {
  mount::ParseMountOptions(arguments.options);  // before anything is asked
  const Account& account = context.account();
  if (!arguments.foreground) return mount::RunInBackground(account);
  return mount::RunMount({arguments.mountpoint, arguments.options, account.AccountId(),
                          arguments.live_fd, !context.uses_shipped_plugin(), context.limit()},
                         [&context] { return context.Connect(); });
}

}  // namespace

void AddMountCommand(CLI::App& app, Selected& selected) {
  auto arguments = std::make_shared<MountArguments>();
  CLI::App* mounting = app.add_subcommand("mount", "Show the account as a folder");
  mounting->add_option("MOUNTPOINT", arguments->mountpoint, "An empty folder")->required();
  mounting->add_option("-o", arguments->options, "Options, separated by commas; see below")
      ->type_name("OPTIONS");
  mounting->add_flag("-f,--foreground", arguments->foreground, "Stay in the foreground");
  mounting->add_option("--live-fd", arguments->live_fd)->group("");
  mounting->footer("Options for -o, with their defaults:\n" + mount::MountOptionsHelp() +
                   "\nUnmount with fusermount3 -u MOUNTPOINT.");
  Choose(mounting, selected, arguments, Mount);
}

}  // namespace b2drive::cli
