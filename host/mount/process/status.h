#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "host/mount/files/delay.h"

namespace b2drive::mount {

struct MountStatus {
  std::vector<Delay> waiting;  // files that are not on the service yet, by path
  std::vector<std::string> announcements;
};

// Throws kWrongKind when no b2drive is mounted there, or one that cannot tell.
MountStatus ReadStatus(const std::string& mountpoint);

// Returns when everything is on the service, when what is left is not sent by itself, or when the
// time is over. Does not keep the mount busy meanwhile. Throws as ReadStatus.
void AwaitSent(const std::string& mountpoint, std::chrono::steady_clock::time_point end);

// "1024 bytes, waits to be sent, failed 2 times: REASON".
std::string Describe(const Delay& delay);

}  // namespace b2drive::mount
