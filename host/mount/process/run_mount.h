#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "host/common/errors.h"
#include "host/mount/process/options.h"
#include "host/patient/live_session.h"

namespace b2drive::mount {

struct MountRequest {
  std::string mountpoint;
  std::string options;
  std::string account_id;
  std::optional<int> live_fd;  // where someone waits for the mount to be live
  // Whether the plug-in is another than the program's own; the mount is read only then.
  bool foreign_plugin = false;
  std::int64_t limit = 0;  // bytes a second of all transfers together; 0: none
};

// Mounts the drive, serves it until it is unmounted, and sends what is left. kPartly when something
// could not be sent and waits for the next mount. Throws HostError.
ExitCode RunMount(const MountRequest& request, const LiveSession::Connector& connect);

}  // namespace b2drive::mount
