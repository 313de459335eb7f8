#pragma once

#include <filesystem>
#include <string>

#include "host/mount/journal/disk.h"

namespace b2drive::mount {

// After a loss of power, makes the files in `spool` again that its log tells of, and removes the
// entries that it tells to be gone. In the same boot the files say the same, but may be among what
// the disk has given up: the contents are brought to it again. False when the log is damaged, so
// that some may be missing. Throws FsError.
bool ReplaySpoolLog(Disk& disk, const std::filesystem::path& spool, const std::string& boot);

}  // namespace b2drive::mount
