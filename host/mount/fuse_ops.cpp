#include "host/mount/fuse_ops.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <vector>

#include "host/mount/fs_error.h"
#include "host/mount/fuse_reply.h"
#include "host/mount/status_query.h"

namespace b2drive::mount {
namespace {

Handle& Of(const fuse_file_info* info) { return Lent<Handle>::Of(info->fh); }

void Init(void* user_data, fuse_conn_info* connection) {
  connection->max_readahead = std::max(connection->max_readahead, 1024U * 1024);
  static_cast<FuseContext*>(user_data)->on_live();
}

void Lookup(fuse_req_t request, fuse_ino_t parent, const char* name) {
  Answer(request, [&](FuseContext& context) {
    const std::string path = context.inodes.Child(parent, name);
    fuse_entry_param entry = ToEntry(context, path, context.files.Stat(path));
    fuse_reply_entry(request, &entry);
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
SharedFile* OpenFileOf(FuseContext& context, fuse_ino_t number, const fuse_file_info* info,
                       SharedFilePtr& keeper) {
  if (info != nullptr) return &Of(info).file();
  keeper = context.inodes.Nameless(number);
  return keeper.get();
}

void ReplyAttributes(fuse_req_t request, FuseContext& context, fuse_ino_t number,
                     const fuse_file_info* info) {
  SharedFilePtr keeper;
  SharedFile* file = OpenFileOf(context, number, info, keeper);
  const Attributes attributes =
      file != nullptr ? file->Stat() : context.files.Stat(context.inodes.Path(number));
  const struct stat out = ToStat(context, number, attributes);
  fuse_reply_attr(request, &out, kKeptSeconds);
}

void GetAttributes(fuse_req_t request, fuse_ino_t number, fuse_file_info* info) {
  Answer(request, [&](FuseContext& context) { ReplyAttributes(request, context, number, info); });
}

void SetSize(FuseContext& context, fuse_ino_t number, std::uint64_t size, fuse_file_info* info) {
  SharedFilePtr keeper;
  if (info != nullptr) return context.files.Truncate(Of(info), size);
  SharedFile* file = OpenFileOf(context, number, info, keeper);
  if (file != nullptr) return file->Truncate(size);
  context.files.Truncate(context.inodes.Path(number), size);
}

void SetTime(FuseContext& context, fuse_ino_t number, timespec time, fuse_file_info* info) {
  SharedFilePtr keeper;
  SharedFile* file = OpenFileOf(context, number, info, keeper);
  if (file != nullptr) return file->SetTime(time);
  context.files.SetTime(context.inodes.Path(number), time);
}

// Modes and owners are accepted without effect, so that programs which copy them go on.
void SetAttributes(fuse_req_t request, fuse_ino_t number, struct stat* wanted, int which,
                   fuse_file_info* info) {
  Answer(request, [&](FuseContext& context) {
    if ((which & FUSE_SET_ATTR_SIZE) != 0) {
      SetSize(context, number, static_cast<std::uint64_t>(wanted->st_size), info);
    }
    if ((which & FUSE_SET_ATTR_MTIME_NOW) != 0) {
      clock_gettime(CLOCK_REALTIME, &wanted->st_mtim);
    }
    if ((which & (FUSE_SET_ATTR_MTIME | FUSE_SET_ATTR_MTIME_NOW)) != 0) {
      SetTime(context, number, wanted->st_mtim, info);
    }
    ReplyAttributes(request, context, number, info);
  });
}

// At a release, or at once when its program was interrupted and so never learned of the handle.
void TakeBack(FuseContext& context, const fuse_file_info* info) {
  context.files.Close(context.handles.TakeBack(info->fh));
}

void Open(fuse_req_t request, fuse_ino_t number, fuse_file_info* info) {
  Answer(request, [&](FuseContext& context) {
    const bool writes = (info->flags & O_ACCMODE) != O_RDONLY;
    auto handle =
        context.files.Open(context.inodes.Path(number), writes, (info->flags & O_TRUNC) != 0);
    context.inodes.Opened(number, handle->held.file());
    info->fh = context.handles.Lend(std::move(handle));
    if (fuse_reply_open(request, info) != 0) TakeBack(context, info);
  });
}

void Create(fuse_req_t request, fuse_ino_t parent, const char* name, mode_t, fuse_file_info* info) {
  Answer(request, [&](FuseContext& context) {
    const std::string path = context.inodes.Child(parent, name);
    auto handle = context.files.Create(path);
    const fuse_entry_param entry = ToEntry(context, path, handle->file().Stat());
    context.inodes.Opened(entry.ino, handle->held.file());
    info->fh = context.handles.Lend(std::move(handle));
    if (fuse_reply_create(request, &entry, info) != 0) TakeBack(context, info);
  });
}

void Read(fuse_req_t request, fuse_ino_t, std::size_t size, off_t offset, fuse_file_info* info) {
  Answer(request, [&](FuseContext&) {
    Handle& handle = Of(info);
    std::vector<char> buffer(size);
    const std::size_t got =
        handle.file().Read(handle.reader, static_cast<std::uint64_t>(offset), buffer.data(), size);
    fuse_reply_buf(request, buffer.data(), got);
  });
}

void Write(fuse_req_t request, fuse_ino_t, const char* data, std::size_t size, off_t offset,
           fuse_file_info* info) {
  Answer(request, [&](FuseContext& context) {
    fuse_reply_write(request,
                     context.files.Write(Of(info), static_cast<std::uint64_t>(offset), data, size));
  });
}

void Flush(fuse_req_t request, fuse_ino_t, fuse_file_info* info) {
  AnswerDone(request, [&](FuseContext& context) { context.files.Flush(Of(info)); });
}

void Sync(fuse_req_t request, fuse_ino_t, int, fuse_file_info* info) {
  AnswerDone(request, [&](FuseContext& context) { context.files.Sync(Of(info)); });
}

void Release(fuse_req_t request, fuse_ino_t, fuse_file_info* info) {
  AnswerDone(request, [&](FuseContext& context) { TakeBack(context, info); });
}

void Unlink(fuse_req_t request, fuse_ino_t parent, const char* name) {
  AnswerDone(request, [&](FuseContext& context) {
    const std::string path = context.inodes.Child(parent, name);
    context.files.Unlink(path);
    context.inodes.Removed(path);
  });
}

void Rename(fuse_req_t request, fuse_ino_t from_folder, const char* from_name, fuse_ino_t to_folder,
            const char* to_name, unsigned flags) {
  AnswerDone(request, [&](FuseContext& context) {
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
  if (delay.failures == 0) return text;
  return text + ", failed " + std::to_string(delay.failures) + " times: " + delay.reason;
}

void Control(fuse_req_t request, fuse_ino_t, unsigned command, void*, fuse_file_info*, unsigned,
             const void* in, std::size_t in_size, std::size_t) {
  Answer(request, [&](FuseContext& context) {
    if (command != static_cast<unsigned>(kStatusRequest) || in_size != sizeof(StatusQuery)) {
      throw FsError(ENOTTY, "no such request");
    }
    StatusQuery query = *static_cast<const StatusQuery*>(in);
    const auto waiting = context.files.Waiting();
    const std::string text = query.index < waiting.size() ? Describe(waiting[query.index]) : "";
    std::snprintf(query.text, sizeof query.text, "%s", text.c_str());
    fuse_reply_ioctl(request, 0, &query, sizeof query);
  });
}

}  // namespace

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
