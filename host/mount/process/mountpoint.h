#pragma once

#include <filesystem>
#include <string>

#include "host/common/unique_fd.h"
#include "host/mount/process/options.h"

namespace b2drive::mount {

// The folder to mount on, absolute. Throws HostError when it cannot be one: missing, no folder, not
// empty. What a mount that was killed left there passes.
std::filesystem::path CheckMountpoint(const std::string& path, const MountOptions& options);

// Clears away what a mount that was killed left there, and checks what is below it. To be called
// with the cache folder locked: of two mounts that are started at once, none clears away the other.
void ClearMountpoint(const std::filesystem::path& mountpoint, const MountOptions& options);

// The account's part of the cache folder, locked against other mounts while the object lives.
class CacheFolder {
 public:
  // Waits for a mount that is still sending before it gives up. Throws HostError.
  CacheFolder(const std::filesystem::path& cache_dir, const std::string& account_id);

  const std::filesystem::path& path() const { return path_; }

 private:
  const std::filesystem::path path_;
  UniqueFd lock_;
};

}  // namespace b2drive::mount
