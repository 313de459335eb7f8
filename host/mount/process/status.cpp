#include "host/mount/process/status.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <thread>

#include "host/common/errors.h"
#include "host/common/unique_fd.h"
#include "host/mount/kernel/status_query.h"

namespace b2drive::mount {
namespace {

[[noreturn]] void Refuse(const std::string& mountpoint, int folder, int error) {
  if (error != ENOTTY && error != EINVAL && error != ENOSYS) throw LocalFailure(mountpoint, error);
  throw HostError(ExitCode::kWrongKind,
                  mountpoint + (IsOlderMount(folder)
                                    ? ": an older b2drive is mounted there, which this one cannot "
                                      "ask; unmount it, which sends what waits, and mount anew"
                                    : ": b2drive is not mounted there"));
}

}  // namespace

MountStatus ReadStatus(const std::string& mountpoint) {
  UniqueFd folder(open(mountpoint.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder) throw LocalFailure(mountpoint, errno);
  MountStatus status;
  for (StatusItem item{};;) {
    const int error = NextStatus(folder.get(), item);
    if (error != 0) Refuse(mountpoint, folder.get(), error);
    if (item.kind == StatusItem::kWaiting) {
      status.waiting.push_back(ToDelay(item));
    } else if (item.kind == StatusItem::kAnnouncement) {
      status.announcements.emplace_back(item.text);
    } else {
      return status;
    }
  }
}

void AwaitSent(const std::string& mountpoint, std::chrono::steady_clock::time_point end) {
  constexpr auto kPause = std::chrono::milliseconds(200);
  while (std::chrono::steady_clock::now() < end) {
    const auto waiting = ReadStatus(mountpoint).waiting;
    if (std::ranges::all_of(waiting, &Delay::lasting)) return;
    std::this_thread::sleep_for(kPause);
  }
}

std::string Describe(const Delay& delay) {
  std::string text = std::to_string(delay.size) + " bytes, ";
  if (delay.sending) {
    text += "is being sent";
  } else if (delay.lasting) {
    text += "will not be sent by itself";
  } else {
    text += "waits to be sent";
  }
  if (delay.failures > 0) {
    text += ", failed " + std::to_string(delay.failures) + " times: " + delay.reason;
  }
  if (delay.unfinished.files > 0) {
    text += "; left " + std::to_string(delay.unfinished.files) +
            " unfinished large files of at most " + std::to_string(delay.unfinished.bytes) +
            " bytes on the service";
  }
  return text;
}

}  // namespace b2drive::mount
