#pragma once

#include <sys/ioctl.h>

#include <cstdint>
#include <filesystem>
#include <optional>

#include "host/mount/files/delay.h"

namespace b2drive::mount {

// Asked of the mountpoint with ioctl: an item handed in gives the one behind it, a zeroed one the
// first. Files that wait come first, by path, so that none is missed when others are sent
// meanwhile.
struct StatusItem {
  enum Kind : std::uint32_t { kWaiting, kAnnouncement, kEnd };
  enum State : std::uint32_t { kWaits, kIsSent, kIsStuck };

  std::uint32_t kind;
  std::uint32_t state;
  std::uint64_t size;  // bytes
  std::uint32_t failures;
  std::uint32_t unfinished_files;
  std::uint64_t unfinished_bytes;
  std::uint32_t number;  // of announcements, from 1 on
  std::uint32_t reserved;
  char path[4096];
  char text[4096];  // why the last attempt failed; the announcement
};

StatusItem ToItem(const Delay& delay);
Delay ToDelay(const StatusItem& item);

// Its number is changed with the structure, so that nobody reads another's: a mount of another
// version refuses it.
inline constexpr unsigned long kStatusRequest = _IOWR('b', 3, StatusItem);

// Puts the item behind `item` in its place. 0 or an errno, ENOTTY where no such mount is.
int NextStatus(int folder, StatusItem& item);

// Whether a b2drive that answers older requests only is mounted there.
bool IsOlderMount(int folder);

}  // namespace b2drive::mount
