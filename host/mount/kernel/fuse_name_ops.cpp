#include <cerrno>
#include <cstdio>
#include <optional>

#include "host/common/fs_error.h"
#include "host/mount/kernel/fuse_reply.h"

namespace b2drive::mount {
namespace {

// The program is gone that should have learned of the entry, so the kernel does not count it.
void ReplyEntry(FuseContext& context, Reply& reply, const std::string& path, const Entry& found) {
  const fuse_entry_param entry = ToEntryParam(context, path, found);
  if (!reply.Entry(entry)) context.inodes.Forget(entry.ino, 1);
}

void Lookup(fuse_req_t request, fuse_ino_t parent, const char* name) {
  Serve(request, [parent, name = std::string(name)](FuseContext& context, Reply& reply) {
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
  const Entry entry =
      target.file ? target.file->Stat() : context.files.Stat(context.inodes.Path(number));
  reply.Attributes(ToStat(context, number, entry), kKeptSeconds);
}

void GetAttributes(fuse_req_t request, fuse_ino_t number, fuse_file_info* info) {
  Serve(request, [number, opened = OpenedOf(info)](FuseContext& context, Reply& reply) {
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
  Serve(request,
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

void Unlink(fuse_req_t request, fuse_ino_t parent, const char* name) {
  ServeDone(request, [parent, name = std::string(name)](FuseContext& context) {
    AboutToWait();
    const std::string path = context.inodes.Child(parent, name);
    context.files.Unlink(path);
    context.inodes.Removed(path);
  });
}

void Rename(fuse_req_t request, fuse_ino_t from_folder, const char* from_name, fuse_ino_t to_folder,
            const char* to_name, unsigned flags) {
  ServeDone(request, [from_folder, from_name = std::string(from_name), to_folder,
                      to_name = std::string(to_name), flags](FuseContext& context) {
    AboutToWait();
    const std::string from = context.inodes.Child(from_folder, from_name);
    const std::string to = context.inodes.Child(to_folder, to_name);
    if ((flags & ~static_cast<unsigned>(RENAME_NOREPLACE)) != 0) {
      throw FsError(EINVAL, from + ": no such kind of renaming");
    }
    context.files.Rename(from, to, flags == 0, [&] { context.inodes.Renamed(from, to); });
  });
}

}  // namespace

void AddNameOperations(fuse_lowlevel_ops& operations) {
  operations.lookup = Lookup;
  operations.forget = Forget;
  operations.forget_multi = ForgetMany;
  operations.getattr = GetAttributes;
  operations.setattr = SetAttributes;
  operations.unlink = Unlink;
  operations.rename = Rename;
  operations.mknod = [](fuse_req_t request, fuse_ino_t, const char*, mode_t, dev_t) {
    fuse_reply_err(request, EPERM);
  };
  operations.symlink = [](fuse_req_t request, const char*, fuse_ino_t, const char*) {
    fuse_reply_err(request, EPERM);
  };
  operations.link = [](fuse_req_t request, fuse_ino_t, fuse_ino_t, const char*) {
    fuse_reply_err(request, EPERM);
  };
}

}  // namespace b2drive::mount
