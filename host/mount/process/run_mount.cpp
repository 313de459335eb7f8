#include "host/mount/process/run_mount.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <thread>

#include "host/mount/kernel/fuse_mount.h"
#include "host/mount/process/background.h"
#include "host/mount/process/mountpoint.h"
#include "host/terminal/interrupt.h"
#include "host/terminal/notices.h"

namespace b2drive::mount {
namespace {

std::string Count(std::size_t files) {
  return std::to_string(files) + (files == 1 ? " file" : " files");
}

bool IsFolder(const Delay& delay) { return delay.path.ends_with('/'); }

ExitCode SendRest(FileSystem& files) {
  const std::size_t waiting = files.Waiting().size();
  if (waiting == 0) return ExitCode::kSuccess;
  Notice("unmounted; sending " + Count(waiting));
  auto left = files.Drain();
  if (left.empty()) {
    Notice("all sent");
    return ExitCode::kSuccess;
  }
  const auto folders = std::stable_partition(left.begin(), left.end(), std::not_fn(IsFolder));
  for (auto lost = folders; lost != left.end(); ++lost) {
    Notice(lost->path + ": not made: " + lost->reason);
  }
  left.erase(folders, left.end());
  if (!left.empty())
    Notice(Count(left.size()) + " could not be sent and will be by the next mount:");
  for (const Delay& delay : left) Notice("  " + delay.path + ": " + delay.reason);
  return ExitCode::kPartly;
}

MountOptions OptionsOf(const MountRequest& request) {
  MountOptions options = ParseMountOptions(request.options);
  options.files.foreign_plugin = request.foreign_plugin;
  options.files.limit = request.limit;
  if (request.foreign_plugin && !options.files.read_only) {
    Notice("read only: a plug-in of another maker may delete more than it is told to");
    options.MakeReadOnly();
  }
  return options;
}

// Ends all waiting; and the program, if a call that the service does not answer still runs then.
void EndSoon(FileSystem& files) {
  files.Hurry();
  const ExitCode code = files.Waiting().empty() ? ExitCode::kInterrupted : ExitCode::kPartly;
  std::thread([code] {
    std::this_thread::sleep_for(std::chrono::seconds(1));
    Notice("ended while the service did not answer");
    _exit(static_cast<int>(code));
  }).detach();
}

}  // namespace

ExitCode RunMount(const MountRequest& request, const LiveSession::Connector& connect) {
  const MountOptions options = OptionsOf(request);
  const auto mountpoint = CheckMountpoint(request.mountpoint, options);
  CacheFolder cache(options.cache_dir, request.account_id);
  ClearMountpoint(mountpoint, options);
  LiveSession live(connect);
  live.Current();
  FileSystem files(live, options.files, cache.path());
  FuseContext context(files, options.kernel, [&] {
    if (request.live_fd) ReportLive(*request.live_fd);
  });
  FuseMount mounted(context, mountpoint);
  InterruptTakeover signals([&](int times) {
    constexpr int kPatience = 2;
    mounted.Stop(times);
    if (times > kPatience) EndSoon(files);
  });
  mounted.Serve();
  context.background.Finish();
  return SendRest(files);
}

}  // namespace b2drive::mount
