#include <cerrno>
#include <cstdio>
#include <string>

#include "host/common/fs_error.h"
#include "host/mount/kernel/fuse_reply.h"
#include "host/mount/kernel/status_query.h"

namespace b2drive::mount {
namespace {

std::string Describe(const Delay& delay) {
  std::string text = delay.path + ": " + std::to_string(delay.size) + " bytes, ";
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

std::string StatusLine(FileSystem& files, std::size_t index) {
  const auto waiting = files.Waiting();
  if (index < waiting.size()) return Describe(waiting[index]);
  const auto remarks = files.announcements().Lines();
  index -= waiting.size();
  return index < remarks.size() ? remarks[index] : "";
}

void Control(fuse_req_t request, fuse_ino_t, unsigned command, void*, fuse_file_info*, unsigned,
             const void* in, std::size_t in_size, std::size_t) {
  Reply reply(request);
  ServeAtOnce(ContextOf(request), reply, [&](FuseContext& context, Reply& owed) {
    if (command != static_cast<unsigned>(kStatusRequest) || in_size != sizeof(StatusQuery)) {
      throw FsError(ENOTTY, "no such request");
    }
    StatusQuery query = *static_cast<const StatusQuery*>(in);
    std::snprintf(query.text, sizeof query.text, "%s",
                  StatusLine(context.files, query.index).c_str());
    owed.Controlled(&query, sizeof query);
  });
}

}  // namespace

void AddStatusOperation(fuse_lowlevel_ops& operations) { operations.ioctl = Control; }

}  // namespace b2drive::mount
