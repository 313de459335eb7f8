#include "host/mount/kernel/fuse_mount.h"

#include <pthread.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "host/common/errors.h"
#include "host/mount/kernel/unmount.h"
#include "host/terminal/notices.h"

namespace b2drive::mount {
namespace {

constexpr int kWakeLoop = SIGUSR2;
constexpr auto kPoll = std::chrono::milliseconds(100);

std::string FuseOptions(const KernelOptions& options) {
  std::string text = "fsname=b2drive,subtype=b2drive,default_permissions";
  if (options.read_only) text += ",ro";
  if (options.allow_other) text += ",allow_other";
  if (options.auto_unmount) text += ",auto_unmount";
  return text;
}

// libfuse's own lines, which standard error would lose in the background.
void NoteLine(fuse_log_level, const char* format, std::va_list arguments) {
  std::array<char, 512> line{};
  std::vsnprintf(line.data(), line.size(), format, arguments);
  std::string_view text = line.data();
  if (text.ends_with('\n')) text.remove_suffix(1);
  Notice(std::string(text));
}

fuse_session* NewSession(FuseContext& context) {
  std::string name = "b2drive";
  std::string flag = "-o";
  std::string options = FuseOptions(context.options);
  std::vector<char*> arguments = {name.data(), flag.data(), options.data(), nullptr};
  fuse_set_log_func(NoteLine);
  fuse_args all = FUSE_ARGS_INIT(3, arguments.data());
  const fuse_lowlevel_ops operations = FuseOperations();
  fuse_session* made = fuse_session_new(&all, &operations, sizeof operations, &context);
  fuse_opt_free_args(&all);
  return made;
}

}  // namespace

FuseMount::FuseMount(FuseContext& context, const std::filesystem::path& mountpoint)
    : context_(context),
      mountpoint_(mountpoint),
      session_(NewSession(context), fuse_session_destroy) {
  if (!session_ || fuse_session_mount(session_.get(), mountpoint_.c_str()) != 0) {
    throw HostError(ExitCode::kFailed, mountpoint_.string() + ": cannot be mounted on");
  }
  struct sigaction ignored {};
  ignored.sa_handler = [](int) {};  // it is there to end a waiting call
  sigaction(kWakeLoop, &ignored, nullptr);
}

FuseMount::~FuseMount() {
  if (stopper_.joinable()) stopper_.join();
}

void FuseMount::Serve() {
  constexpr unsigned kMostThreads = 64;
  constexpr unsigned kIdleThreads = 16;
  std::unique_ptr<fuse_loop_config, void (*)(fuse_loop_config*)> config(fuse_loop_cfg_create(),
                                                                        fuse_loop_cfg_destroy);
  fuse_loop_cfg_set_max_threads(config.get(), kMostThreads);
  fuse_loop_cfg_set_idle_threads(config.get(), kIdleThreads);
  loop_thread_ = pthread_self();
  serving_ = true;
  fuse_session_loop_mt(session_.get(), config.get());
  serving_ = false;
  fuse_session_unmount(session_.get());
  // The session ends with this object, what runs in the background only later.
  context_.owed.EndAll(EIO);
}

void FuseMount::Stop(int times) {
  if (times > 1) {
    hurried_ = true;
    return;
  }
  stopper_ = std::thread([this] { StopGently(); });
}

void FuseMount::StopGently() {
  constexpr int kMostPolls = 100;
  bool unmounted = false;
  for (int polls = 0; serving_ && !hurried_ && polls < kMostPolls; ++polls) {
    if (!unmounted) unmounted = Unmount(mountpoint_, false);
    if (!unmounted && polls == 0) Notice("programs use the mount; waiting for them");
    std::this_thread::sleep_for(kPoll);
  }
  if (serving_ && !unmounted) EndLoop();
}

// A signal that comes before the loop waits is lost, so it is repeated.
void FuseMount::EndLoop() {
  Notice("programs still use the mount; what they have not saved is lost");
  fuse_session_exit(session_.get());
  while (serving_) {
    pthread_kill(loop_thread_, kWakeLoop);
    std::this_thread::sleep_for(kPoll);
  }
}

}  // namespace b2drive::mount
