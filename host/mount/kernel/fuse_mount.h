#pragma once

#include <atomic>
#include <filesystem>
#include <memory>
#include <thread>

#include "host/mount/kernel/fuse_ops.h"

namespace b2drive::mount {

// A mounted file system, from construction to destruction.
class FuseMount {
 public:
  // Mounts. Throws HostError; a notice of libfuse's or a line of fusermount3's says why.
  FuseMount(FuseContext& context, const std::filesystem::path& mountpoint);
  ~FuseMount();
  FuseMount(const FuseMount&) = delete;
  FuseMount& operator=(const FuseMount&) = delete;

  // Serves until it is unmounted or stopped; operations that run are finished.
  void Serve();

  // A signal's wish, from any thread: the first one unmounts when no program uses the mount, or
  // after ten seconds; the second one at once.
  void Stop(int times);

 private:
  void StopGently();
  void EndLoop();

  FuseContext& context_;
  const std::filesystem::path mountpoint_;
  std::unique_ptr<fuse_session, void (*)(fuse_session*)> session_;
  std::atomic<bool> serving_{false};
  std::atomic<bool> hurried_{false};
  pthread_t loop_thread_{};
  std::thread stopper_;
};

}  // namespace b2drive::mount
