#pragma once

#include <cstdint>
#include <string>

#include "host/patient/upload_control.h"

namespace b2drive::mount {

// Why contents are not on the service yet.
struct Delay {
  std::string path;
  std::uint64_t size = 0;  // bytes
  bool sending = false;
  int failures = 0;
  bool lasting = false;  // not tried again by itself
  std::string reason;    // the last failure's
  Unfinished unfinished;
};

}  // namespace b2drive::mount
