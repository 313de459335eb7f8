#include "host/mount/kernel/fuse_ops.h"

#include <algorithm>

#include "host/mount/kernel/fuse_reply.h"

namespace b2drive::mount {
namespace {

void Init(void* user_data, fuse_conn_info* connection) {
  connection->max_readahead = std::max(connection->max_readahead, 1024U * 1024);
  static_cast<FuseContext*>(user_data)->on_live();
}

}  // namespace

FuseContext::FuseContext(FileSystem& file_system, const KernelOptions& kernel_options,
                         std::function<void()> when_live)
    : files(file_system), options(kernel_options), on_live(std::move(when_live)) {
  files.announcements().OnRedirect(
      [this](const std::string& from, const std::string& to) { inodes.Renamed(from, to); });
}

FuseContext::~FuseContext() { files.announcements().OnRedirect({}); }

fuse_lowlevel_ops FuseOperations() {
  fuse_lowlevel_ops operations{};
  operations.init = Init;
  AddNameOperations(operations);
  AddFileOperations(operations);
  AddFolderOperations(operations);
  AddStatusOperation(operations);
  return operations;
}

}  // namespace b2drive::mount
