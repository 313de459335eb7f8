#pragma once

#include <cstdint>
#include <string>

#include "host/common/retry.h"
#include "host/patient/refusal_limit.h"
#include "host/patient/upload_control.h"
#include "host/plugin/drive.h"

namespace b2drive {

// What an upload stores.
struct UploadContents {
  int fd = -1;             // of a file that is borrowed; -1 where there is nothing to read
  std::uint64_t size = 0;  // bytes
  FileAttributes attributes;
};

// What is to be stored, as `name` in the folder. Borrowed.
struct UploadSource {
  const std::string& parent_id;
  const std::string& name;
  const std::string& path;  // for messages
  UploadContents contents;
};

// One attempt of an upload. Where the plug-in repeats it by itself it does so by the rules, unless
// in doubt the caller looks first. What a large one leaves behind is noted in `control`. Throws
// HostError for what may pass, else FsError.
Entry TryUpload(Drive& drive, const UploadSource& source, Transfers& transfers,
                UploadControl& control, const RefusalRules& rules);

}  // namespace b2drive
