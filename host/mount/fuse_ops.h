#pragma once

#include <functional>

#define FUSE_USE_VERSION 312
#include <fuse3/fuse_lowlevel.h>

#include "host/mount/file_system.h"
#include "host/mount/inodes.h"

namespace b2drive::mount {

// What libfuse's callbacks work on: the session's user data.
struct FuseContext {
  FileSystem& files;
  const MountOptions& options;
  std::function<void()> on_live;  // called once, when the kernel talks to us
  Inodes inodes = {};
};

// The callbacks, one an operation.
fuse_lowlevel_ops FuseOperations();

}  // namespace b2drive::mount
