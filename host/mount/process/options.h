#pragma once

#include <filesystem>
#include <string>

#include "host/mount/files/file_services.h"
#include "host/mount/kernel/fuse_ops.h"

namespace b2drive::mount {

// What -o sets. The defaults are those that the help shows.
struct MountOptions {
  FileSystemOptions files;
  KernelOptions kernel;
  bool nonempty = false;
  std::filesystem::path cache_dir;  // b2drive in the user's cache folder

  MountOptions();
  // Nothing is changed on the drive.
  void MakeReadOnly() { files.read_only = kernel.read_only = true; }
};

// Reads "name,name=value,..."; throws kUsage for what it does not know. What mount(8) and fstab
// have for themselves is skipped.
MountOptions ParseMountOptions(const std::string& text);

// One line an option, with its default, and what save= promises.
std::string MountOptionsHelp();

}  // namespace b2drive::mount
