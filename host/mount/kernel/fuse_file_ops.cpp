#include <string>
#include <vector>

#include "host/mount/kernel/fuse_reply.h"
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

void Open(fuse_req_t request, fuse_ino_t number, fuse_file_info* info) {
  Serve(request, [number, asked = *info](FuseContext& context, Reply& reply) {
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
  Serve(request,
        [parent, name = std::string(name), asked = *info](FuseContext& context, Reply& reply) {
          const std::string path = context.inodes.Child(parent, name);
          auto handle = context.files.Create(path);
          const fuse_entry_param entry = ToEntryParam(context, path, handle->file().Stat());
          context.inodes.Opened(entry.ino, handle->held.file());
          fuse_file_info opened = asked;
          opened.fh = Lend(context, std::move(handle));
          if (reply.Created(entry, opened)) return;
          context.handles.TakeBack(opened.fh);
          context.inodes.Forget(entry.ino, 1);
        });
}

void Read(fuse_req_t request, fuse_ino_t, std::size_t size, off_t offset, fuse_file_info* info) {
  Serve(request, [size, offset, opened = info->fh](FuseContext& context, Reply& reply) {
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
  if (ServeAtOnce(context, reply, here)) return;
  ServeInBackground(context, std::move(reply),
                    [write, copy = std::string(data, size)](FuseContext& same, Reply& owed) {
                      write(same, owed, copy.data(), copy.size());
                    });
}

void Flush(fuse_req_t request, fuse_ino_t, fuse_file_info* info) {
  ServeDone(request, [opened = info->fh](FuseContext& context) {
    context.files.Flush(*context.handles.Of(opened));
  });
}

void Sync(fuse_req_t request, fuse_ino_t, int, fuse_file_info* info) {
  ServeDone(request, [opened = info->fh](FuseContext& context) {
    context.files.Sync(*context.handles.Of(opened));
  });
}

void Release(fuse_req_t request, fuse_ino_t, fuse_file_info* info) {
  ServeDone(request,
            [opened = info->fh](FuseContext& context) { context.handles.TakeBack(opened); });
}

}  // namespace

void AddFileOperations(fuse_lowlevel_ops& operations) {
  operations.open = Open;
  operations.create = Create;
  operations.read = Read;
  operations.write = Write;
  operations.flush = Flush;
  operations.fsync = Sync;
  operations.release = Release;
}

}  // namespace b2drive::mount
