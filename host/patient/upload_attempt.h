#pragma once

#include <cstdint>
#include <string>

#include "host/common/retry.h"
#include "host/patient/refusal_limit.h"
#include "host/patient/upload_control.h"
#include "host/plugin/drive.h"

namespace b2drive {

// What is to be stored, as `name` in the folder. Borrowed.
struct UploadSource {
  const std::string& parent_id;
  const std::string& name;
  const std::string& path;  // for messages
  int fd;                   // -1 where there is nothing to read
  std::uint64_t size;       // bytes
};

// One attempt of an upload. Where the plug-in repeats it by itself it does so as `allowed`, unless
// in `doubt` the caller looks first. What a large one leaves behind is noted in `control`. Throws
// HostError for what may pass, else FsError.
Entry TryUpload(Drive& drive, const UploadSource& source, Transfers& transfers,
                UploadControl& control, const Attempts& allowed, Doubt doubt);

}  // namespace b2drive
