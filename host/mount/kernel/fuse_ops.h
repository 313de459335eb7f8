#pragma once

#include <unistd.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/common/workers.h"
#include "host/mount/files/file_system.h"
#include "host/mount/kernel/handle_table.h"
#include "host/mount/kernel/inodes.h"
#include "host/mount/kernel/reply.h"

namespace b2drive::mount {

// One opendir() of a program.
struct OpenFolder {
  explicit OpenFolder(std::string of) : path(std::move(of)) {}

  const std::string path;
  Mutex mutex;
  std::shared_ptr<FolderReader> reader B2_GUARDED_BY(mutex);
};

// How the files look to programs.
struct KernelOptions {
  bool read_only = false;
  bool allow_other = false;
  bool auto_unmount = false;
  uid_t uid = getuid();
  gid_t gid = getgid();
  mode_t umask = 022;
};

// What libfuse's callbacks work on: the session's user data.
struct FuseContext {
  FuseContext(FileSystem& file_system, const KernelOptions& kernel_options,
              std::function<void()> when_live);
  ~FuseContext();
  FuseContext(const FuseContext&) = delete;
  FuseContext& operator=(const FuseContext&) = delete;

  // Every program that waits has a thread here.
  static constexpr std::size_t kMostWaiting = 4096;

  FileSystem& files;
  const KernelOptions& options;
  const std::function<void()> on_live;  // called once, when the kernel talks to us
  Inodes inodes;
  HandleTable<Handle> handles;
  HandleTable<OpenFolder> folders;
  OwedReplies owed;
  Workers background{kMostWaiting};
};

// The callbacks, one for each operation.
fuse_lowlevel_ops FuseOperations();

}  // namespace b2drive::mount
