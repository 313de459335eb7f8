#include "host/local/local_target.h"

#include <sys/stat.h>

namespace b2drive {

mode_t ModeOfNewFiles() {
  static const mode_t mode = [] {
    const mode_t mask = umask(077);
    umask(mask);
    return static_cast<mode_t>(0666 & ~mask);
  }();
  return mode;
}

}  // namespace b2drive
