#pragma once

#include <sys/ioctl.h>

#include <cstdint>

namespace b2drive::mount {

// Asked of the mountpoint with ioctl: the description of the `index`th file that is not on the
// service yet, empty behind the last.
struct StatusQuery {
  std::uint32_t index;
  char text[4092];
};

inline constexpr unsigned long kStatusRequest = _IOWR('b', 2, StatusQuery);

}  // namespace b2drive::mount
