#pragma once

#include <sys/stat.h>

#include "host/mount/fuse_ops.h"

namespace b2drive::mount {

// What all callbacks share.

inline FuseContext& ContextOf(fuse_req_t request) {
  return *static_cast<FuseContext*>(fuse_req_userdata(request));
}

struct stat ToStat(const FuseContext& context, std::uint64_t number, const Attributes& attributes);
fuse_entry_param ToEntry(FuseContext& context, const std::string& path,
                         const Attributes& attributes);
// As long as the kernel may keep what it was told.
inline constexpr double kKeptSeconds = 1.0;

// The errno of the exception that is being handled; what is not daily business is noted.
int NumberOfFailure() noexcept;

// Runs an operation, which answers the request itself unless it throws.
template <typename Operation>
void Answer(fuse_req_t request, Operation operation) noexcept {
  try {
    operation(ContextOf(request));
  } catch (...) {
    fuse_reply_err(request, NumberOfFailure());
  }
}

// The same for operations whose answer is success alone.
template <typename Operation>
void AnswerDone(fuse_req_t request, Operation operation) noexcept {
  Answer(request, [&](FuseContext& context) {
    operation(context);
    fuse_reply_err(request, 0);
  });
}

// The callbacks on folders' contents.
void AddFolderOperations(fuse_lowlevel_ops& operations);

}  // namespace b2drive::mount
