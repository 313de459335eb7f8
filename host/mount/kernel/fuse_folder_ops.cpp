#include <sys/statvfs.h>

#include <cerrno>
#include <utility>
#include <vector>

#include "host/common/fs_error.h"
#include "host/common/path.h"
#include "host/mount/kernel/fuse_reply.h"

namespace b2drive::mount {
namespace {

void Open(fuse_req_t request, fuse_ino_t number, fuse_file_info* info) {
  Serve(request, [number, asked = *info](FuseContext& context, Reply& reply) {
    fuse_file_info opened = asked;
    opened.fh = context.folders.Lend(std::make_shared<OpenFolder>(context.inodes.Path(number)));
    // A program that is interrupted meanwhile never releases it.
    if (!reply.Opened(opened)) context.folders.TakeBack(opened.fh);
  });
}

void Release(fuse_req_t request, fuse_ino_t, fuse_file_info* info) {
  ContextOf(request).folders.TakeBack(info->fh);
  fuse_reply_err(request, 0);
}

// A program that begins again sees what the folder holds by then.
std::shared_ptr<FolderReader> ReaderOf(FuseContext& context, OpenFolder& folder, bool anew) {
  if (!anew) {
    Lock lock(folder.mutex);
    if (folder.reader) return folder.reader;
  }
  std::shared_ptr<FolderReader> reader = context.files.OpenFolder(folder.path);
  Lock lock(folder.mutex);
  return folder.reader = reader;
}

constexpr std::uint64_t kDots = 2;  // positions before the reader's
// C libraries skip entries of number 0.
constexpr std::uint64_t kUnknownNumber = 0xFFFFFFFF;

// A reply to readdir, filled entry by entry. With attributes each entry counts as looked up, but
// for the dots.
class FolderReply {
 public:
  FolderReply(FuseContext& context, const std::string& path, std::size_t size, bool attributes)
      : context_(context), path_(path), out_(size), attributes_(attributes) {}

  // False when it does not fit any more.
  bool Add(std::uint64_t next, const Entry& listed) {
    fuse_entry_param entry{};
    entry.attr = ToStat(context_, kUnknownNumber, listed);
    const bool remembered = attributes_ && next > kDots;
    if (remembered) entry = ToEntryParam(context_, Join(path_, listed.name), listed);
    const std::size_t needed = Write(listed.name.c_str(), entry, static_cast<off_t>(next));
    if (used_ + needed > out_.size()) {
      if (remembered) context_.inodes.Forget(entry.ino, 1);
      return false;
    }
    used_ += needed;
    if (remembered) remembered_.push_back(entry.ino);
    return true;
  }
  void Send(Reply& reply) {
    if (reply.Bytes(out_.data(), used_)) return;
    for (const fuse_ino_t number : remembered_) context_.inodes.Forget(number, 1);
  }

 private:
  std::size_t Write(const char* name, const fuse_entry_param& entry, off_t next) {
    fuse_req_t unused = nullptr;  // libfuse asks for it, and makes nothing of it
    char* place = out_.data() + used_;
    const std::size_t room = out_.size() - used_;
    return attributes_ ? fuse_add_direntry_plus(unused, place, room, name, &entry, next)
                       : fuse_add_direntry(unused, place, room, name, &entry.attr, next);
  }

  FuseContext& context_;
  const std::string& path_;
  std::vector<char> out_;
  std::size_t used_ = 0;
  const bool attributes_;
  std::vector<fuse_ino_t> remembered_;
};

void ReadFolder(fuse_req_t request, std::size_t size, off_t offset, fuse_file_info* info,
                bool with_attributes) {
  Serve(request, [size, from = static_cast<std::uint64_t>(offset), opened = info->fh,
                  with_attributes](FuseContext& context, Reply& reply) {
    const auto folder = context.folders.Of(opened);
    const auto reader = ReaderOf(context, *folder, from == 0);
    FolderReply filled(context, folder->path, size, with_attributes);
    if (from == 0) filled.Add(1, {".", "", true, 0, {}});
    if (from <= 1) filled.Add(kDots, {"..", "", true, 0, {}});
    reader->Read(from <= kDots ? 0 : from - kDots, [&](std::uint64_t next, const Entry& entry) {
      return filled.Add(next + kDots, entry);
    });
    filled.Send(reply);
  });
}

void Read(fuse_req_t request, fuse_ino_t, std::size_t size, off_t offset, fuse_file_info* info) {
  ReadFolder(request, size, offset, info, false);
}

void ReadPlus(fuse_req_t request, fuse_ino_t, std::size_t size, off_t offset,
              fuse_file_info* info) {
  ReadFolder(request, size, offset, info, true);
}

void Sync(fuse_req_t request, fuse_ino_t, int, fuse_file_info* info) {
  ServeDone(request, [opened = info->fh](FuseContext& context) {
    context.files.SyncFolder(context.folders.Of(opened)->path);
  });
}

void Make(fuse_req_t request, fuse_ino_t parent, const char* name, mode_t) {
  Serve(request, [parent, name = std::string(name)](FuseContext& context, Reply& reply) {
    AboutToWait();
    const std::string path = context.inodes.Child(parent, name);
    context.files.MakeFolder(path);
    const fuse_entry_param entry = ToEntryParam(context, path, context.files.Stat(path));
    if (!reply.Entry(entry)) context.inodes.Forget(entry.ino, 1);
  });
}

void Remove(fuse_req_t request, fuse_ino_t parent, const char* name) {
  ServeDone(request, [parent, name = std::string(name)](FuseContext& context) {
    AboutToWait();
    const std::string path = context.inodes.Child(parent, name);
    context.files.RemoveFolder(path);
    context.inodes.Removed(path);
  });
}

void Statistics(fuse_req_t request, fuse_ino_t) {
  Serve(request, [](FuseContext& context, Reply& reply) {
    constexpr unsigned long kBlockSize = 4096;
    constexpr unsigned long kLongestName = 250;
    constexpr fsfilcnt_t kManyFiles = 1'000'000'000;
    struct statvfs out {};
    out.f_bsize = out.f_frsize = kBlockSize;
    out.f_blocks = out.f_bfree = out.f_bavail = context.files.TotalBytes() / kBlockSize;
    out.f_files = out.f_ffree = out.f_favail = kManyFiles;
    out.f_namemax = kLongestName;
    reply.Statistics(out);
  });
}

}  // namespace

void AddFolderOperations(fuse_lowlevel_ops& operations) {
  operations.opendir = Open;
  operations.readdir = Read;
  operations.readdirplus = ReadPlus;
  operations.releasedir = Release;
  operations.fsyncdir = Sync;
  operations.mkdir = Make;
  operations.rmdir = Remove;
  operations.statfs = Statistics;
}

}  // namespace b2drive::mount
