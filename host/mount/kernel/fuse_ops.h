#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/common/workers.h"
#include "host/mount/files/file_system.h"
#include "host/mount/kernel/inodes.h"
#include "host/mount/kernel/lent.h"
#include "host/mount/kernel/reply.h"

namespace b2drive::mount {

// One opendir() of a program: what the folder held when reading began.
struct OpenFolder {
  using Entries = std::vector<std::pair<std::string, Attributes>>;

  explicit OpenFolder(std::string of) : path(std::move(of)) {}

  const std::string path;
  Mutex mutex;
  std::shared_ptr<const Entries> entries B2_GUARDED_BY(mutex);
};

// What libfuse's callbacks work on: the session's user data.
struct FuseContext {
  FuseContext(FileSystem& file_system, const MountOptions& mount_options,
              std::function<void()> when_live);
  ~FuseContext();
  FuseContext(const FuseContext&) = delete;
  FuseContext& operator=(const FuseContext&) = delete;

  // Every program that waits has a thread here.
  static constexpr std::size_t kMostWaiting = 4096;

  FileSystem& files;
  const MountOptions& options;
  const std::function<void()> on_live;  // called once, when the kernel talks to us
  Inodes inodes;
  Lent<Handle> handles;
  Lent<OpenFolder> folders;
  OwedReplies owed;
  Workers background{kMostWaiting};
};

// The callbacks, one an operation.
fuse_lowlevel_ops FuseOperations();

}  // namespace b2drive::mount
