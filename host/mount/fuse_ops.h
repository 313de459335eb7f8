#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#define FUSE_USE_VERSION 312
#include <fuse3/fuse_lowlevel.h>

#include "host/mount/file_system.h"
#include "host/mount/inodes.h"
#include "host/mount/lent.h"

namespace b2drive::mount {

// One opendir() of a program: what the folder held when reading began.
struct OpenFolder {
  std::string path;
  std::vector<std::pair<std::string, Attributes>> entries;
};

// What libfuse's callbacks work on: the session's user data.
struct FuseContext {
  FileSystem& files;
  const MountOptions& options;
  std::function<void()> on_live;  // called once, when the kernel talks to us
  Inodes inodes = {};
  Lent<Handle> handles = {};
  Lent<OpenFolder> folders = {};
};

// The callbacks, one an operation.
fuse_lowlevel_ops FuseOperations();

}  // namespace b2drive::mount
