#include "host/mount/kernel/fuse_ops.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <optional>
#include <vector>

#include "host/common/fs_error.h"
#include "host/mount/kernel/fuse_reply.h"
#include "host/mount/kernel/status_query.h"
#include "host/terminal/notices.h"

namespace b2drive::mount {
namespace {

// Closes the handle when the last operation on it has ended.
std::uint64_t Lend(FuseContext& context, std::unique_ptr<Handle> handle) {
  FileSystem& files = context.files;
  return context.handles.Lend(std::shared_ptr<Handle>(handle.release(), [&files](Handle* last) {
    try {
      files.Close(std::unique_ptr<Handle>(last));
    } catch (const std::exception& error) {
      Notice(error.what());
    }
  }));
}

void Init(void* user_data, fuse_conn_info* connection) {
  connection->max_readahead = std::max(connection->max_readahead, 1024U * 1024);
  static_cast<FuseContext*>(user_data)->on_live();
}

// The program is gone that should have learned of the entry, so the kernel does not count it.
void ReplyEntry(FuseContext& context, Reply& reply, const std::string& path,
                const Attributes& attributes) {
  const fuse_entry_param entry = ToEntry(context, path, attributes);
  if (!reply.Entry(entry)) context.inodes.Forget(entry.ino, 1);
}

void Lookup(fuse_req_t request, fuse_ino_t parent, const char* name) {
  Answer(request, [parent, name = std::string(name)](FuseContext& context, Reply& reply) {
    const std::string path = context.inodes.Child(parent, name);
    ReplyEntry(context, reply, path, context.files.Stat(path));
  });
}

void Forget(fuse_req_t request, fuse_ino_t number, std::uint64_t times) {
  ContextOf(request).inodes.Forget(number, times);
  fuse_reply_none(request);
}

void ForgetMany(fuse_req_t request, std::size_t count, fuse_forget_data* forgotten) {
  for (std::size_t i = 0; i < count; ++i) {
    ContextOf(request).inodes.Forget(forgotten[i].ino, forgotten[i].nlookup);
  }
  fuse_reply_none(request);
}

// The open file that a request is about, if the kernel names a handle or the name is gone.
struct Target {
  Target(FuseContext& context, fuse_ino_t number, std::optional<std::uint64_t> opened) {
    if (opened) {
      handle = context.handles.Of(*opened);
      file = handle->held.file();
    } else {
      file = context.inodes.Nameless(number);
    }
  }
  std::shared_ptr<Handle> handle;
  SharedFilePtr file;
};

std::optional<std::uint64_t> OpenedOf(const fuse_file_info* info) {
  return info != nullptr ? std::optional(info->fh) : std::nullopt;
}

void ReplyAttributes(FuseContext& context, Reply& reply, fuse_ino_t number, const Target& target) {
  const Attributes attributes =
      target.file ? target.file->Stat() : context.files.Stat(context.inodes.Path(number));
  reply.Attributes(ToStat(context, number, attributes), kKeptSeconds);
}

void GetAttributes(fuse_req_t request, fuse_ino_t number, fuse_file_info* info) {
  Answer(request, [number, opened = OpenedOf(info)](FuseContext& context, Reply& reply) {
    ReplyAttributes(context, reply, number, Target(context, number, opened));
  });
}

void SetSize(FuseContext& context, fuse_ino_t number, std::uint64_t size, const Target& target) {
  if (target.handle) return context.files.Truncate(*target.handle, size);
  if (target.file) return target.file->Truncate(size);
  AboutToWait();
  context.files.Truncate(context.inodes.Path(number), size);
}

void SetTime(FuseContext& context, fuse_ino_t number, timespec time, const Target& target) {
  if (target.file) return target.file->SetTime(time);
  context.files.SetTime(context.inodes.Path(number), time);
}

// Modes and owners are accepted without effect, so that programs which copy them go on.
void SetAttributes(fuse_req_t request, fuse_ino_t number, struct stat* wanted, int which,
                   fuse_file_info* info) {
  if ((which & FUSE_SET_ATTR_MTIME_NOW) != 0) clock_gettime(CLOCK_REALTIME, &wanted->st_mtim);
  Answer(request,
         [number, which, size = static_cast<std::uint64_t>(wanted->st_size), time = wanted->st_mtim,
          opened = OpenedOf(info)](FuseContext& context, Reply& reply) {
           const Target target(context, number, opened);
           if ((which & FUSE_SET_ATTR_SIZE) != 0) SetSize(context, number, size, target);
           if ((which & (FUSE_SET_ATTR_MTIME | FUSE_SET_ATTR_MTIME_NOW)) != 0) {
             SetTime(context, number, time, target);
           }
           ReplyAttributes(context, reply, number, target);
         });
}

void Open(fuse_req_t request, fuse_ino_t number, fuse_file_info* info) {
  Answer(request, [number, asked = *info](FuseContext& context, Reply& reply) {
    const bool writes = (asked.flags & O_ACCMODE) != O_RDONLY;
    auto handle =
        context.files.Open(context.inodes.Path(number), writes, (asked.flags & O_TRUNC) != 0);
    context.inodes.Opened(number, handle->held.file());
    fuse_file_info opened = asked;
    opened.fh = Lend(context, std::move(handle));
    if (!reply.Opened(opened)) context.handles.TakeBack(opened.fh);
  });
}

void Create(fuse_req_t request, fuse_ino_t parent, const char* name, mode_t, fuse_file_info* info) {
  Answer(request,
         [parent, name = std::string(name), asked = *info](FuseContext& context, Reply& reply) {
           const std::string path = context.inodes.Child(parent, name);
           auto handle = context.files.Create(path);
           const fuse_entry_param entry = ToEntry(context, path, handle->file().Stat());
           context.inodes.Opened(entry.ino, handle->held.file());
           fuse_file_info opened = asked;
           opened.fh = Lend(context, std::move(handle));
           if (reply.Created(entry, opened)) return;
           context.handles.TakeBack(opened.fh);
           context.inodes.Forget(entry.ino, 1);
         });
}

void Read(fuse_req_t request, fuse_ino_t, std::size_t size, off_t offset, fuse_file_info* info) {
  Answer(request, [size, offset, opened = info->fh](FuseContext& context, Reply& reply) {
    const auto handle = context.handles.Of(opened);
    std::vector<char> buffer(size);
    const std::size_t got = handle->file().Read(handle->reader, static_cast<std::uint64_t>(offset),
                                                buffer.data(), size);
    reply.Bytes(buffer.data(), got);
  });
}

void Write(fuse_req_t request, fuse_ino_t, const char* data, std::size_t size, off_t offset,
           fuse_file_info* info) {
  const auto write = [offset, opened = info->fh](FuseContext& context, Reply& reply,
                                                 const char* bytes, std::size_t count) {
    const auto handle = context.handles.Of(opened);
    reply.Written(context.files.Write(*handle, static_cast<std::uint64_t>(offset), bytes, count));
  };
  FuseContext& context = ContextOf(request);
  Reply reply(request);
  const auto here = [&](FuseContext& same, Reply& owed) { write(same, owed, data, size); };
  if (AnswerAtOnce(context, reply, here)) return;
  AnswerInBackground(context, std::move(reply),
                     [write, copy = std::string(data, size)](FuseContext& same, Reply& owed) {
                       write(same, owed, copy.data(), copy.size());
                     });
}

void Flush(fuse_req_t request, fuse_ino_t, fuse_file_info* info) {
  AnswerDone(request, [opened = info->fh](FuseContext& context) {
    context.files.Flush(*context.handles.Of(opened));
  });
}

void Sync(fuse_req_t request, fuse_ino_t, int, fuse_file_info* info) {
  AnswerDone(request, [opened = info->fh](FuseContext& context) {
    context.files.Sync(*context.handles.Of(opened));
  });
}

void Release(fuse_req_t request, fuse_ino_t, fuse_file_info* info) {
  AnswerDone(request,
             [opened = info->fh](FuseContext& context) { context.handles.TakeBack(opened); });
}

void Unlink(fuse_req_t request, fuse_ino_t parent, const char* name) {
  AnswerDone(request, [parent, name = std::string(name)](FuseContext& context) {
    AboutToWait();
    const std::string path = context.inodes.Child(parent, name);
    context.files.Unlink(path);
    context.inodes.Removed(path);
  });
}

void Rename(fuse_req_t request, fuse_ino_t from_folder, const char* from_name, fuse_ino_t to_folder,
            const char* to_name, unsigned flags) {
  AnswerDone(request, [from_folder, from_name = std::string(from_name), to_folder,
                       to_name = std::string(to_name), flags](FuseContext& context) {
    AboutToWait();
    const std::string from = context.inodes.Child(from_folder, from_name);
    const std::string to = context.inodes.Child(to_folder, to_name);
    if ((flags & ~static_cast<unsigned>(RENAME_NOREPLACE)) != 0) {
      throw FsError(EINVAL, from + ": no such kind of renaming");
    }
    context.files.Rename(from, to, flags == 0);
    if (from != to) context.inodes.Renamed(from, to);
  });
}

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
  const auto remarks = files.Remarks();
  index -= waiting.size();
  return index < remarks.size() ? remarks[index] : "";
}

void Control(fuse_req_t request, fuse_ino_t, unsigned command, void*, fuse_file_info*, unsigned,
             const void* in, std::size_t in_size, std::size_t) {
  Reply reply(request);
  AnswerAtOnce(ContextOf(request), reply, [&](FuseContext& context, Reply& owed) {
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

FuseContext::FuseContext(FileSystem& file_system, const MountOptions& mount_options,
                         std::function<void()> when_live)
    : files(file_system), options(mount_options), on_live(std::move(when_live)) {
  files.OnRedirect(
      [this](const std::string& from, const std::string& to) { inodes.Renamed(from, to); });
}

FuseContext::~FuseContext() { files.OnRedirect({}); }

fuse_lowlevel_ops FuseOperations() {
  fuse_lowlevel_ops operations{};
  operations.init = Init;
  operations.lookup = Lookup;
  operations.forget = Forget;
  operations.forget_multi = ForgetMany;
  operations.getattr = GetAttributes;
  operations.setattr = SetAttributes;
  operations.open = Open;
  operations.create = Create;
  operations.read = Read;
  operations.write = Write;
  operations.flush = Flush;
  operations.fsync = Sync;
  operations.release = Release;
  operations.unlink = Unlink;
  operations.rename = Rename;
  operations.ioctl = Control;
  operations.mknod = [](fuse_req_t request, fuse_ino_t, const char*, mode_t, dev_t) {
    fuse_reply_err(request, EPERM);
  };
  operations.symlink = [](fuse_req_t request, const char*, fuse_ino_t, const char*) {
    fuse_reply_err(request, EPERM);
  };
  operations.link = [](fuse_req_t request, fuse_ino_t, fuse_ino_t, const char*) {
    fuse_reply_err(request, EPERM);
  };
  AddFolderOperations(operations);
  return operations;
}

}  // namespace b2drive::mount
