#pragma once

#include "host/common/errors.h"
#include "host/plugin/account.h"

namespace b2drive::mount {

// Starts this program again with the same arguments and `-f`, in a session of its own, and waits
// until it is live or has failed. The new process says itself what went wrong.
ExitCode RunInBackground(const Account& account);

// In the new process: tells the one that waits at `fd` that the mount is live, and lets go of the
// terminal and the working folder.
void ReportLive(int fd);

}  // namespace b2drive::mount
