#include "host/mount/process/status.h"

#include <chrono>
#include <iostream>

#include "base/numbers.h"
#include "host/cli/entry_json.h"
#include "host/commands/commands.h"

namespace b2drive::cli {
namespace {

using Clock = std::chrono::steady_clock;
constexpr char kForever[] = "forever";

struct StatusArguments {
  std::string mountpoint;
  std::string wait;  // empty, kForever or seconds
};

Clock::time_point EndOfWait(const std::string& wait) {
  constexpr std::int64_t kMostSeconds = 100'000'000;
  if (wait == kForever) return Clock::time_point::max();
  const auto seconds = base::ParseNumber<std::int64_t>(wait);
  if (!seconds || *seconds < 0 || *seconds > kMostSeconds) {
    throw HostError(ExitCode::kUsage, "--wait=" + wait + ": a number of seconds is needed");
  }
  return Clock::now() + std::chrono::seconds(*seconds);
}

const char* StateOf(const mount::Delay& delay) {
  if (delay.sending) return "sending";
  return delay.lasting ? "stuck" : "waiting";
}

Json ToJson(const mount::MountStatus& status) {
  Json waiting = Json::array();
  for (const mount::Delay& delay : status.waiting) {
    waiting.push_back({{"path", delay.path},
                       {"size", delay.size},
                       {"state", StateOf(delay)},
                       {"failures", delay.failures},
                       {"reason", delay.reason},
                       {"unfinished_files", delay.unfinished.files},
                       {"unfinished_bytes", delay.unfinished.bytes}});
  }
  return {{"waiting", waiting}, {"announcements", status.announcements}};
}

void Print(const mount::MountStatus& status) {
  if (status.waiting.empty()) std::cout << "everything is on the service\n";
  for (const mount::Delay& delay : status.waiting) {
    std::cout << Shown(delay.path + ": " + Describe(delay)) << "\n";
  }
  for (const std::string& line : status.announcements) std::cout << Shown(line) << "\n";
}

ExitCode RunStatus(Context& context, const StatusArguments& arguments) {
  if (!arguments.wait.empty()) {
    mount::AwaitSent(arguments.mountpoint, EndOfWait(arguments.wait));
  }
  const mount::MountStatus status = mount::ReadStatus(arguments.mountpoint);
  if (context.json()) {
    PrintJson(ToJson(status));
  } else {
    Print(status);
  }
  return status.waiting.empty() ? ExitCode::kSuccess : ExitCode::kFailed;
}

}  // namespace

void AddStatusCommand(CLI::App& app, Selected& selected) {
  auto arguments = std::make_shared<StatusArguments>();
  CLI::App* status = app.add_subcommand("status", "Show what a mount has not sent yet");
  status->add_flag(std::string("--wait{") + kForever + "}", arguments->wait,
                   "Wait until everything is on the service; --wait=SECONDS no longer than that");
  status->add_option("MOUNTPOINT", arguments->mountpoint, "Where it is mounted")->required();
  status->footer(
      "The exit code is 0 when everything is on the service and 1 when something waits. What has\n"
      "happened since it was mounted and needs nobody is shown below and does not count.");
  Choose(status, selected, arguments, RunStatus);
}

}  // namespace b2drive::cli
