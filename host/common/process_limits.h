#pragma once

#include <sys/resource.h>

namespace b2drive {

// Lets this process open as many files as it may: a file has a descriptor, and so has a connection.
inline void RaiseOpenFileLimit() {
  rlimit files{};
  if (getrlimit(RLIMIT_NOFILE, &files) != 0) return;
  files.rlim_cur = files.rlim_max;
  setrlimit(RLIMIT_NOFILE, &files);
}

// How many it may open now.
inline rlim_t MostOpenFiles() {
  rlimit files{};
  return getrlimit(RLIMIT_NOFILE, &files) == 0 ? files.rlim_cur : 0;
}

}  // namespace b2drive
