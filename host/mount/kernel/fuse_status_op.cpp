#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>

#include "host/common/fs_error.h"
#include "host/mount/kernel/fuse_reply.h"
#include "host/mount/kernel/status_query.h"

namespace b2drive::mount {
namespace {

std::optional<StatusItem> WaitingBehind(FileSystem& files, const std::string& last) {
  const auto waiting = files.Waiting();
  const Delay* next = nullptr;
  for (const Delay& delay : waiting) {
    if (delay.path > last && (next == nullptr || delay.path < next->path)) next = &delay;
  }
  return next != nullptr ? std::optional(ToItem(*next)) : std::nullopt;
}

StatusItem AnnouncementBehind(FileSystem& files, std::uint32_t last) {
  const auto lines = files.announcements().Lines();
  StatusItem item{};
  item.kind = last < lines.size() ? StatusItem::kAnnouncement : StatusItem::kEnd;
  if (item.kind == StatusItem::kEnd) return item;
  item.number = last + 1;
  std::snprintf(item.text, sizeof item.text, "%s", lines[last].c_str());
  return item;
}

StatusItem ItemBehind(FileSystem& files, const StatusItem& item) {
  if (item.kind != StatusItem::kWaiting) return AnnouncementBehind(files, item.number);
  const std::string last(item.path, strnlen(item.path, sizeof item.path));
  return WaitingBehind(files, last).value_or(AnnouncementBehind(files, 0));
}

void Control(fuse_req_t request, fuse_ino_t, unsigned command, void*, fuse_file_info*, unsigned,
             const void* in, std::size_t in_size, std::size_t) {
  Reply reply(request);
  ServeAtOnce(ContextOf(request), reply, [&](FuseContext& context, Reply& owed) {
    if (command != static_cast<unsigned>(kStatusRequest) || in_size != sizeof(StatusItem)) {
      throw FsError(ENOTTY, "no such request");
    }
    StatusItem item{};
    std::memcpy(&item, in, sizeof item);
    item = ItemBehind(context.files, item);
    owed.Controlled(&item, sizeof item);
  });
}

}  // namespace

void AddStatusOperation(fuse_lowlevel_ops& operations) { operations.ioctl = Control; }

}  // namespace b2drive::mount
