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

std::shared_ptr<const Listing> EntriesOf(FuseContext& context, OpenFolder& folder, bool anew) {
  if (!anew) {
    Lock lock(folder.mutex);
    if (folder.entries) return folder.entries;
  }
  Listing entries = {{".", "", true, 0, {}}, {"..", "", true, 0, {}}};
  context.files.List(folder.path, [&](const Entry& entry) { entries.push_back(entry); });
  auto read = std::make_shared<const Listing>(std::move(entries));
  Lock lock(folder.mutex);
  return folder.entries = read;
}

constexpr std::size_t kDots = 2;
// C libraries skip entries of number 0.
constexpr std::uint64_t kUnknownNumber = 0xFFFFFFFF;

// Appends entries from `at` on while they fit; gives the bytes used. With attributes each entry
// counts as looked up, but for the dots.
std::size_t Append(FuseContext& context, const std::string& path, const Listing& entries,
                   std::size_t at, std::vector<char>& out, bool with_attributes) {
  fuse_req_t unused = nullptr;  // libfuse asks for it, and makes nothing of it
  std::size_t used = 0;
  for (; at < entries.size(); ++at) {
    const Entry& listed = entries[at];
    const auto next = static_cast<off_t>(at + 1);
    fuse_entry_param entry{};
    entry.attr = ToStat(context, kUnknownNumber, listed);
    const bool remembered = with_attributes && at >= kDots;
    if (remembered) entry = ToEntryParam(context, Join(path, listed.name), listed);
    char* place = out.data() + used;
    const std::size_t room = out.size() - used;
    const std::size_t needed =
        with_attributes
            ? fuse_add_direntry_plus(unused, place, room, listed.name.c_str(), &entry, next)
            : fuse_add_direntry(unused, place, room, listed.name.c_str(), &entry.attr, next);
    if (needed > room) {
      if (remembered) context.inodes.Forget(entry.ino, 1);
      break;
    }
    used += needed;
  }
  return used;
}

void ReadFolder(fuse_req_t request, std::size_t size, off_t offset, fuse_file_info* info,
                bool with_attributes) {
  Serve(request,
        [size, offset, opened = info->fh, with_attributes](FuseContext& context, Reply& reply) {
          const auto folder = context.folders.Of(opened);
          const auto entries = EntriesOf(context, *folder, offset == 0);
          std::vector<char> out(size);
          const std::size_t used = Append(context, folder->path, *entries,
                                          static_cast<std::size_t>(offset), out, with_attributes);
          reply.Bytes(out.data(), used);
        });
}

void Read(fuse_req_t request, fuse_ino_t, std::size_t size, off_t offset, fuse_file_info* info) {
  ReadFolder(request, size, offset, info, false);
}

void ReadPlus(fuse_req_t request, fuse_ino_t, std::size_t size, off_t offset,
              fuse_file_info* info) {
  ReadFolder(request, size, offset, info, true);
}

void Sync(fuse_req_t request, fuse_ino_t, int, fuse_file_info*) { fuse_reply_err(request, 0); }

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
